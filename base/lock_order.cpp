#include "base/lock_order.h"

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <mutex>

namespace cam::lock_order {

namespace {

constexpr std::size_t kMostHeld = 32;

// What the current thread holds, oldest first.
struct Held {
    HeldLock locks[kMostHeld];
    std::size_t count = 0;
};
thread_local Held held;

// Never destroyed: modules may end later than this library's objects.
struct Domains {
    std::mutex lock;
    std::map<const void*, std::size_t, std::less<>> sizes;  // by start address
};
Domains& AllDomains() {
    static Domains& domains = *new Domains;
    return domains;
}

const void* DomainOf(const void* lock) {
    Domains& domains = AllDomains();
    const std::lock_guard hold(domains.lock);
    auto after = domains.sizes.upper_bound(lock);
    if (after == domains.sizes.begin()) {
        return nullptr;
    }
    --after;
    const auto* const end = static_cast<const char*>(after->first) + after->second;
    return std::less<>{}(lock, static_cast<const void*>(end)) ? after->first : nullptr;
}

[[noreturn]] void Fail(const HeldLock& wanted, const char* what, const HeldLock& other) {
    std::fprintf(stderr, "lock order: waiting for \"%s\" %s \"%s\"\n", wanted.name, what,
                 other.name);
    std::abort();
}

}  // namespace

void CheckWait(const HeldLock& wanted) {
    for (std::size_t i = 0; i < held.count; ++i) {
        if (held.locks[i].lock == wanted.lock) {
            return;  // re-entered
        }
    }
    for (std::size_t i = 0; i < held.count; ++i) {
        if (held.locks[i].rank >= wanted.rank &&
            DomainOf(held.locks[i].lock) == DomainOf(wanted.lock)) {
            Fail(wanted, "while holding", held.locks[i]);
        }
    }
}

void Push(const HeldLock& taken) {
    if (held.count == kMostHeld) {
        Fail(taken, "with too many locks, the last one", held.locks[kMostHeld - 1]);
    }
    held.locks[held.count++] = taken;
}

void Pop(const void* lock) {
    for (std::size_t i = held.count; i-- > 0;) {
        if (held.locks[i].lock == lock) {
            for (std::size_t j = i + 1; j < held.count; ++j) {
                held.locks[j - 1] = held.locks[j];
            }
            --held.count;
            return;
        }
    }
}

Domain::Domain(const void* begin, std::size_t size) : m_begin(begin) {
    if constexpr (kChecked) {
        Domains& domains = AllDomains();
        const std::lock_guard hold(domains.lock);
        domains.sizes[begin] = size;
    }
}

Domain::~Domain() {
    if constexpr (kChecked) {
        Domains& domains = AllDomains();
        const std::lock_guard hold(domains.lock);
        domains.sizes.erase(m_begin);
    }
}

}  // namespace cam::lock_order

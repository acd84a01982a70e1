#include "base/lock_order.h"

#include <cstdio>
#include <cstdlib>
#include <functional>
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

// Made at its first use: nothing runs when the library is loaded.
std::mutex& DomainsLock() {
    static std::mutex lock;
    return lock;
}
Domain* firstDomain = nullptr;  // under DomainsLock

[[noreturn]] void Fail(const HeldLock& wanted, const char* what, const HeldLock& other) {
    std::fprintf(stderr, "lock order: waiting for \"%s\" %s \"%s\"\n", wanted.name, what,
                 other.name);
    std::abort();
}

}  // namespace

// The domain that the lock belongs to; null: none.
const Domain* DomainOf(const void* lock) {
    const std::lock_guard hold(DomainsLock());
    const Domain* domain = firstDomain;
    while (domain != nullptr && !domain->Holds(lock)) {
        domain = domain->m_next;
    }
    return domain;
}

void CheckWait(const HeldLock& wanted) {
    for (std::size_t i = 0; i < held.count; ++i) {
        if (wanted.reentrant && held.locks[i].lock == wanted.lock) {
            return;
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

Domain::Domain(const void* begin, std::size_t size) : m_begin(begin), m_size(size) {
    if constexpr (kChecked) {
        const std::lock_guard hold(DomainsLock());
        m_next = firstDomain;
        firstDomain = this;
    }
}

Domain::~Domain() {
    if constexpr (kChecked) {
        const std::lock_guard hold(DomainsLock());
        Domain** link = &firstDomain;
        while (*link != this) {
            link = &(*link)->m_next;
        }
        *link = m_next;
    }
}

bool Domain::Holds(const void* lock) const {
    const auto* const begin = static_cast<const char*>(m_begin);
    return !std::less<>{}(lock, m_begin) &&
           std::less<>{}(lock, static_cast<const void*>(begin + m_size));
}

}  // namespace cam::lock_order

#include "tests/platform/allocation_failure.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

// Allocations until the one that fails; negative: none does.
thread_local int t_untilFailure = -1;

// The same for all threads, as a number of the one that fails.
std::atomic<int> allocations{0};
std::atomic<int> failing{-1};

void* Allocate(std::size_t size) noexcept {
    if (allocations++ == failing) {
        return nullptr;
    }
    if (t_untilFailure == 0) {
        --t_untilFailure;
        return nullptr;
    }
    t_untilFailure -= t_untilFailure > 0 ? 1 : 0;
    return std::malloc(size != 0 ? size : 1);
}

}  // namespace

void* operator new(std::size_t size) {
    void* const block = Allocate(size);
    return block != nullptr ? block : throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return Allocate(size);
}
void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}
// Of an object whose constructor threw.
void operator delete(void* block, const std::nothrow_t&) noexcept {
    std::free(block);
}

namespace platform::test {

int FailEachAllocation(const std::function<void()>& action) {
    for (int before = 0;; ++before) {
        t_untilFailure = before;
        try {
            action();
        } catch (const std::bad_alloc&) {
        }
        const bool failed = t_untilFailure < 0;
        t_untilFailure = -1;
        if (!failed) {
            return before;
        }
    }
}

void FailNextAllocation(int before) {
    t_untilFailure = before;
}

void FailAllocationOfAnyThread(int before) {
    failing = before;
    allocations = 0;
}

int AllocationsOfAllThreads() {
    return allocations;
}

}  // namespace platform::test

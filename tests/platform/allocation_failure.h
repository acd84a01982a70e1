// Allocations that fail on demand. A program that links allocation_failure.cpp has its operator new
// replaced.
#pragma once

#include <functional>

namespace platform::test {

// Runs `action` over and over, with its first allocation failing, then its second, until it gets by
// without a failure; what it throws must be std::bad_alloc. The number of failed allocations. Only
// those of the calling thread fail.
int FailEachAllocation(const std::function<void()>& action);

// One allocation of the calling thread fails, behind so many others.
void FailNextAllocation(int before = 0);

// Counts the allocations of all threads from now on. The one behind the first `before` fails;
// negative: none.
void FailAllocationOfAnyThread(int before);
int AllocationsOfAllThreads();

}  // namespace platform::test

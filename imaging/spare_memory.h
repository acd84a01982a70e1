// The memory of the next region, populated ahead of time.
#pragma once

#include <cstdint>

#include "base/lock.h"
#include "base/relaxed.h"
#include "base/worker_thread.h"
#include "platform/event.h"
#include "platform/shared_mapping.h"

namespace cam {

// Populating the pages of a region takes milliseconds, in which the frame thread would keep the
// camera waiting. So a thread of its own populates memory for the region after the one just made,
// and the frame thread only names it. The memory has no name until then, so nobody else sees it,
// and it is dropped when no region needed it for a few seconds. Where the system cannot name memory
// later, nothing is prepared.
//
// Any thread may call every operation. Never throws.
class SpareMemory {
  public:
    SpareMemory();

    // Asks for memory of `size` bytes and returns at once.
    void Prepare(std::uint64_t size);
    // True when memory of exactly this size was ready; `mapping`, which must be closed, then owns
    // it, mapped and without a name.
    [[nodiscard]] bool Take(std::uint64_t size, platform::SharedMapping& mapping) EXCLUDES(m_lock);
    [[nodiscard]] bool Ready(std::uint64_t size) const EXCLUDES(m_lock);

    // Drops the memory and waits until the thread is idle.
    void Stop();

  private:
    void Run();
    void Keep(platform::SharedMapping memory) EXCLUDES(m_lock);

    Relaxed<std::uint64_t> m_wanted{0};
    platform::Event m_asked;

    mutable Lock m_lock{LockRank::Leaf, "spare memory"};
    platform::SharedMapping m_memory GUARDED_BY(m_lock);

    WorkerThread m_thread;
};

}  // namespace cam

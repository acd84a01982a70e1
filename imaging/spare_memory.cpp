#include "imaging/spare_memory.h"

#include <chrono>
#include <utility>

namespace cam {

namespace {

// New regions come in a row, at a start or while the host falls behind.
constexpr std::chrono::seconds kKept{5};

}  // namespace

SpareMemory::SpareMemory() : m_thread([this] { Run(); }, &m_asked) {
    static_cast<void>(m_asked.Create());
}

void SpareMemory::Prepare(std::uint64_t size) {
    if (!platform::SharedMapping::kCanNameLater) {
        return;
    }
    m_wanted.Set(size);
    m_asked.Set();
    // Without a thread the next region is populated when it is made.
    static_cast<void>(m_thread.Start());
}

bool SpareMemory::Take(std::uint64_t size, platform::SharedMapping& mapping) {
    const LockGuard hold(m_lock);
    if (!m_memory.IsOpen() || m_memory.Size() != size) {
        return false;
    }
    mapping = std::move(m_memory);
    return true;
}

bool SpareMemory::Ready(std::uint64_t size) const {
    const LockGuard hold(m_lock);
    return m_memory.IsOpen() && m_memory.Size() == size;
}

void SpareMemory::Stop() {
    m_thread.Stop();
}

void SpareMemory::Run() {
    do {
        // Before the look, so that a request or a stop that comes after it ends the wait.
        m_asked.Reset();
        const std::uint64_t size = m_wanted.Get();
        platform::SharedMapping memory;
        if (!m_thread.StopRequested() && !Ready(size) && memory.CreateUnnamed(size) == 0 &&
            memory.Map() == 0) {
            Keep(std::move(memory));
        }
    } while (!m_thread.StopRequested() && m_asked.WaitFor(kKept));
    Keep({});
}

// What was held is dropped without the lock, because giving back its pages takes a while.
void SpareMemory::Keep(platform::SharedMapping memory) {
    const LockGuard hold(m_lock);
    std::swap(m_memory, memory);
}

}  // namespace cam

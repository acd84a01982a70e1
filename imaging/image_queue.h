// The frames that wait for the host, oldest first.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "imaging/buffer_node.h"
#include "platform/lock.h"

namespace cam {

// A ring that grows to the most frames that ever waited and then allocates no more. A frame keeps
// its sequence number from Push to Pop, so that a scan which gives the lock away for a while finds
// its place again.
class ImageQueue {
  public:
    // The image-list lock. Taken after the GetImage, node-info and parameter locks and before the
    // buffer lock; the intake holds it while it makes a frame.
    platform::RecursiveLock m_lock;

    void Push(const BufferNode& node) REQUIRES(m_lock);
    [[nodiscard]] std::optional<BufferNode> Pop() REQUIRES(m_lock);
    [[nodiscard]] std::size_t Size() const REQUIRES(m_lock) { return m_size; }

    // A hint for those who only look whether anything waits.
    [[nodiscard]] bool Empty() const { return m_sizeHint.load(std::memory_order_acquire) == 0; }

    // The sequence number that the next frame will get.
    [[nodiscard]] std::uint64_t End() const REQUIRES(m_lock) { return m_front + m_size; }

    struct Offer {
        std::uint64_t sequence;
        std::uint32_t frameNumber;
    };
    // The oldest frame at or behind `from` that no procedure has taken.
    [[nodiscard]] std::optional<Offer> NextUndispatched(std::uint64_t from) const REQUIRES(m_lock);
    // Does nothing when the frame has left the queue meanwhile.
    void MarkHandedOver(std::uint64_t sequence) REQUIRES(m_lock);

  private:
    [[nodiscard]] BufferNode& At(std::uint64_t sequence) REQUIRES(m_lock) {
        return m_ring[sequence % m_ring.size()];
    }
    [[nodiscard]] const BufferNode& At(std::uint64_t sequence) const REQUIRES(m_lock) {
        return m_ring[sequence % m_ring.size()];
    }

    std::vector<BufferNode> m_ring GUARDED_BY(m_lock);
    std::uint64_t m_front GUARDED_BY(m_lock) = 0;  // sequence number of the oldest
    std::size_t m_size GUARDED_BY(m_lock) = 0;
    std::atomic<std::size_t> m_sizeHint{0};
};

}  // namespace cam

// The frames queued for the host, oldest first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "imaging/buffer_node.h"

namespace cam {

// A ring that grows to the most frames ever queued and then allocates no more. A frame keeps its
// sequence number from Push to Pop, so that a scan that releases the queue for a while finds its
// place again. Not synchronised.
class ImageQueue {
  public:
    void Push(const BufferNode& node);
    [[nodiscard]] std::optional<BufferNode> Pop();
    // The oldest frame, if its sequence number is below `end`.
    [[nodiscard]] std::optional<BufferNode> PopBefore(std::uint64_t end);
    [[nodiscard]] std::size_t Size() const { return m_size; }

    // The sequence number of the next frame.
    [[nodiscard]] std::uint64_t End() const { return m_front + m_size; }

    struct Offer {
        std::uint64_t sequence;
        std::uint32_t frameNumber;
    };
    // The oldest frame from `from` on that no procedure has taken.
    [[nodiscard]] std::optional<Offer> NextUndispatched(std::uint64_t from) const;
    // Does nothing if the frame has left the queue meanwhile.
    void MarkHandedOver(std::uint64_t sequence);

  private:
    [[nodiscard]] BufferNode& At(std::uint64_t sequence) {
        return m_ring[sequence % m_ring.size()];
    }
    [[nodiscard]] const BufferNode& At(std::uint64_t sequence) const {
        return m_ring[sequence % m_ring.size()];
    }

    std::vector<BufferNode> m_ring;
    std::uint64_t m_front = 0;  // sequence number of the oldest
    std::size_t m_size = 0;
};

}  // namespace cam

#include "imaging/image_queue.h"

#include <algorithm>

namespace cam {

namespace {

constexpr std::size_t kFirstRoom = 64;

}  // namespace

void ImageQueue::Push(const BufferNode& node) {
    if (m_size == m_ring.size()) {
        std::vector<BufferNode> larger(std::max(kFirstRoom, 2 * m_size));
        for (std::size_t i = 0; i < m_size; ++i) {
            larger[(m_front + i) % larger.size()] = At(m_front + i);
        }
        m_ring.swap(larger);
    }
    At(End()) = node;
    ++m_size;
}

std::optional<BufferNode> ImageQueue::Pop() {
    return PopBefore(End());
}

std::optional<BufferNode> ImageQueue::PopBefore(std::uint64_t end) {
    if (m_size == 0 || m_front >= end) {
        return std::nullopt;
    }
    --m_size;
    return At(m_front++);
}

std::optional<ImageQueue::Offer> ImageQueue::NextUndispatched(std::uint64_t from) const {
    for (std::uint64_t sequence = std::max(from, m_front); sequence < End(); ++sequence) {
        if (const BufferNode& node = At(sequence); node.handedOver != 1) {
            return Offer{sequence, node.frameNumber};
        }
    }
    return std::nullopt;
}

void ImageQueue::MarkHandedOver(std::uint64_t sequence) {
    if (sequence >= m_front && sequence < End()) {
        At(sequence).handedOver = 1;
    }
}

}  // namespace cam

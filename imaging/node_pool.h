// Which buffer nodes exist, and which of them are free.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "imaging/buffer_node.h"

namespace cam {

// The last node returned, whose memory is warm, is reused first for a frame of its size. Not
// synchronised.
class NodePool {
  public:
    [[nodiscard]] std::size_t FreeCount() const { return m_free.size(); }

    enum class Fit { AtLeast, Exactly };

    // The last node returned whose capacity fits `size`; if none fits, the last returned one. Only
    // its memory fields are set.
    [[nodiscard]] std::optional<BufferNode> Take(std::uint64_t size, Fit fit);

    // Reserves space for one more node, so that neither Issue nor Return allocates. May throw.
    void ReserveOneMore();
    // Adds a node whose region was just made.
    void Issue(const BufferNode& node);
    // Records which frame the node now holds.
    void SetFrame(const BufferNode& node);

    // Takes a node back. The record may come from the host: unless memory and frame match an issued
    // node, does nothing and returns false.
    [[nodiscard]] bool Return(const BufferNode& record);
    // Whether Return would take the record. Only then does its `sharedName` point to a text.
    [[nodiscard]] bool IsOut(const BufferNode& record) const;

    // Drops the nodes for which `isGone(data, sharedName)` reports that their region is gone.
    template <typename Predicate>
    void Forget(Predicate isGone) {
        std::erase_if(m_issued,
                      [&](const Issued& issued) { return isGone(issued.data, issued.sharedName); });
        std::erase_if(m_free,
                      [&](const BufferNode& node) { return isGone(node.data, node.sharedName); });
    }

  private:
    // A node made with an open region.
    struct Issued {
        const std::uint8_t* data;
        std::uint32_t capacity;
        std::uint32_t frameNumber;
        const char* sharedName;
        bool isFree;
    };

    [[nodiscard]] static bool IsOut(const Issued& issued, const BufferNode& record);
    // The record's node, whatever frame it holds; null when it is not a node of this pool.
    [[nodiscard]] Issued* Find(const BufferNode& record);
    [[nodiscard]] const Issued* Find(const BufferNode& record) const;

    std::vector<BufferNode> m_free;  // the last returned at the back
    std::vector<Issued> m_issued;    // ascending by `data`
};

}  // namespace cam

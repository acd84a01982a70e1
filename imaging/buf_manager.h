// The memory of the frame slots: each node has one region.
#pragma once

#include <atomic>
#include <cstdint>

#include "imaging/buffer_node.h"
#include "imaging/shared_memory_base.h"

namespace cam {

// Nodes are made while none is free, and never taken away: there come to be as many as frames are
// under way at once. Not synchronised, like the regions. Nothing is thrown.
class CBufManager : public CModuleSharedMemoryBase {
  public:
    // Gives `node` a region of exactly `size` bytes. kInvalid: no size, and the node is untouched;
    // kNoBufferNode: no region could be had, and the node has no memory.
    [[nodiscard]] Status AddOneNode(std::uint32_t moduleId, std::uint32_t size, BufferNode& node);

    // Gives up the node's region, which is the next to be used again, so that AddOneNode gives it
    // another one. Anything but 0: the node is as it was.
    [[nodiscard]] Status ReleaseNode(std::uint32_t moduleId, const BufferNode& node);

    using CModuleSharedMemoryBase::IsOpenRegion;

  private:
    std::atomic<std::int32_t> m_nodeCount{0};
};

}  // namespace cam

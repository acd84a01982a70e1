// The memory of the frame nodes: each node has one region.
#pragma once

#include <atomic>
#include <cstdint>

#include "imaging/buffer_node.h"
#include "imaging/shared_memory_base.h"

namespace cam {

// Nodes are added when none is free and never removed, so there are as many as the most frames that
// were in flight at once. Not synchronised, like the regions. Never throws.
class CBufManager : public CModuleSharedMemoryBase {
  public:
    using CModuleSharedMemoryBase::CModuleSharedMemoryBase;

    // Gives `node` a region of exactly `size` bytes. kInvalid: size 0, the node is unchanged;
    // kNoBufferNode: no region available, the node has no memory.
    [[nodiscard]] Status AddOneNode(std::uint32_t moduleId, std::uint32_t size, BufferNode& node);

    // Releases the node's region, which is the next to be reused, so that AddOneNode gives the node
    // another one. Other than 0: the node is unchanged.
    [[nodiscard]] Status ReleaseNode(std::uint32_t moduleId, const BufferNode& node);

    using CModuleSharedMemoryBase::IsOpenRegion;

  private:
    std::atomic<std::int32_t> m_nodeCount{0};
};

}  // namespace cam

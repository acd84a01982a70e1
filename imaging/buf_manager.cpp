#include "imaging/buf_manager.h"

#include <cstdio>

namespace cam {

namespace {

constexpr std::int32_t kRegionKey = 0;
constexpr std::uint32_t kNumberTextSize = 64;

}  // namespace

Status CBufManager::AddOneNode(std::uint32_t moduleId, std::uint32_t size, BufferNode& node) {
    if (size == 0) {
        return kInvalid;
    }
    const std::int32_t count = ++m_nodeCount;
    node.data = nullptr;
    node.sharedName = nullptr;
    node.capacity = 0;
    node.dataLength = 0;
    // There must never be fewer regions than nodes, or a region would be recycled under a node.
    char number[kNumberTextSize] = {};
    std::snprintf(number, sizeof(number), "%d", count);
    static_cast<void>(SetNodeNum(number, sizeof(number)));
    if (AllocateSharedMemory(moduleId, size, &node.data, &node.sharedName, kRegionKey) != kOk ||
        node.data == nullptr) {
        return kNoBufferNode;
    }
    node.capacity = size;
    return kOk;
}

Status CBufManager::ReleaseNode(std::uint32_t moduleId, const BufferNode& node) {
    const Status status = ReleaseSharedMemory(moduleId, node.sharedName);
    if (status == kOk) {
        --m_nodeCount;
    }
    return status;
}

}  // namespace cam

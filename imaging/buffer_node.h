// The record of one image, exchanged with the host as 64 plain bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace cam {

// Copied by value. A node with capacity above 0 owns one shared-memory region and is at any time in
// one place: the free pool, the image queue, the host's hands, or the callback of one frame. One
// with capacity 0 only describes memory owned elsewhere.
struct BufferNode {
    std::uint32_t width = 0;        // pixels
    std::uint32_t height = 0;       // lines
    std::uint32_t pixelType = 0;    // PFNC code of the bytes at `data`
    std::uint32_t dataLength = 0;   // valid bytes at `data`; 0: no image
    std::uint32_t frameNumber = 0;  // the camera's
    std::uint32_t reserved0 = 0;
    std::uint8_t* data = nullptr;      // first image byte, after the region's header
    std::uint32_t capacity = 0;        // bytes available at `data`
    std::uint32_t handedOver = 0;      // 1 once a host procedure took the frame (run by camera)
    const char* sharedName = nullptr;  // the region's name; lives as long as the region's record
    std::uint32_t tagValue = 0;        // copied from the camera's frame information
    std::uint32_t reserved1[3] = {};
};
static_assert(sizeof(BufferNode) == 64 && std::is_trivially_copyable_v<BufferNode>);
static_assert(offsetof(BufferNode, data) == 24);
static_assert(offsetof(BufferNode, capacity) == 32);
static_assert(offsetof(BufferNode, handedOver) == 36);
static_assert(offsetof(BufferNode, sharedName) == 40);
static_assert(offsetof(BufferNode, tagValue) == 48);

}  // namespace cam

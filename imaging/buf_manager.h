// The frame slots of the image pipeline: which exist, which are free.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "imaging/buffer_node.h"
#include "imaging/shared_memory_base.h"
#include "platform/lock.h"

namespace cam {

// Nodes are added while none is free, and never taken away: there come to be as many as frames are
// under way at once. The last one returned, whose memory is warm, is the first to be used again
// for a frame of its size.
//
// AddOneNode and RellocNode belong to the thread that takes frames in, under the image-list lock
// that serialises the regions; the others come from any thread. Nothing is thrown.
class CBufManager : public CModuleSharedMemoryBase {
  public:
    // A hint that costs no lock; who takes a node finds out.
    [[nodiscard]] std::size_t GetFreeNodeCount() const {
        return m_freeCount.load(std::memory_order_relaxed);
    }

    enum class Fit { AtLeast, Exactly };

    // The last node returned whose capacity fits `size`; where none fits, the last returned one.
    [[nodiscard]] std::optional<BufferNode> TakeFreeNode(std::uint64_t size, Fit fit)
        EXCLUDES(m_bufferLock);

    // Gives `node` a region of exactly `size` bytes. kInvalid: no size, and the node is untouched;
    // kNoBufferNode: no region could be had, and the node has no memory.
    [[nodiscard]] Status AddOneNode(std::uint32_t moduleId, std::uint32_t size, BufferNode& node)
        EXCLUDES(m_bufferLock);

    // Gives up the node's region for one of `newSize` bytes, under the same name where that is
    // free. Anything but 0: the node is not to be used any more.
    [[nodiscard]] Status RellocNode(std::uint32_t moduleId, std::uint32_t newSize, BufferNode& node)
        EXCLUDES(m_bufferLock);

    // Takes a node back; always 0. The record may come from the host: one that names other memory
    // than a node of this manager that is out is logged and ignored, so that no frame is ever
    // written into memory that is not its own. A second return of a node is known as one until the
    // node is used again.
    [[nodiscard]] Status FreeBuf(const BufferNode& node) EXCLUDES(m_bufferLock);

    // Whether FreeBuf would take the record. Only then does `sharedName` point to a text.
    [[nodiscard]] bool OwnsNode(const BufferNode& node) const EXCLUDES(m_bufferLock);

  private:
    // A node that was given out with an open region.
    struct Issued {
        const std::uint8_t* data;
        std::uint32_t capacity;
        const char* sharedName;
        bool isFree;
    };

    // The place of the record's node in m_issued, or its size when the record is of no such node.
    [[nodiscard]] std::size_t IndexOf(const BufferNode& node) const REQUIRES(m_bufferLock);
    void ReserveOneMore() EXCLUDES(m_bufferLock);
    void Issue(const BufferNode& node) EXCLUDES(m_bufferLock);
    // Drops nodes whose region is gone; `isGone` is asked with `data` and `sharedName`.
    template <typename Predicate>
    void Forget(Predicate isGone) REQUIRES(m_bufferLock);
    void ForgetRegion(const char* sharedName) EXCLUDES(m_bufferLock);
    void ForgetClosedRegions() EXCLUDES(m_bufferLock);

    std::atomic<std::int32_t> m_nodeCount{0};

    // Held for a copy only, and while no other lock is taken.
    mutable platform::RecursiveLock m_bufferLock;
    std::vector<BufferNode> m_free GUARDED_BY(m_bufferLock);  // the last returned at the back
    std::vector<Issued> m_issued GUARDED_BY(m_bufferLock);    // ascending by `data`
    std::atomic<std::size_t> m_freeCount{0};                  // of m_free
};

}  // namespace cam

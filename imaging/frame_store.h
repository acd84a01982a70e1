// The frames queued for the host and their memory.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "base/lock.h"
#include "base/notices.h"
#include "imaging/buf_manager.h"
#include "imaging/buffer_node.h"
#include "imaging/image_queue.h"
#include "imaging/node_pool.h"
#include "imaging/spare_memory.h"
#include "module/framework/status_codes.h"
#include "platform/event.h"

namespace cam {

// A node is at any time in one place: free, under way (FrameUnderWay), waiting, or in the host's
// hands. The one lock is held to look, to publish and to pop, never while pixels are copied or a
// region is made. Every thread may call every operation; those of a FrameUnderWay only the thread
// that takes a frame in. Never throws.
class FrameStore {
  public:
    // `imageArrived` is set for each queued frame.
    FrameStore(const Notices& notices, platform::Event& imageArrived);

    class FrameUnderWay;

    // The oldest frame, which the caller then owns.
    [[nodiscard]] std::optional<BufferNode> Pop() EXCLUDES(m_lock);
    // May be stale.
    [[nodiscard]] bool Empty() const { return m_waiting.load(std::memory_order_acquire) == 0; }
    // Set for each queued frame, for the thread that offers frames to procedures.
    [[nodiscard]] platform::Event& Queued() { return m_queued; }

    // Drops the queued frames, and the one under way when it is published. Logs their number in one
    // line.
    void Clear() EXCLUDES(m_lock);

    // Ends the preparing of memory, until a frame needs a new region again.
    void StopPreparing() { m_spare.Stop(); }

    // Takes a node back; always 0. The record may come from the host: unless memory and frame match
    // an issued node it is logged and ignored, so that no frame is ever written into foreign
    // memory.
    Status FreeBuf(const BufferNode& record) EXCLUDES(m_lock);

    // The scan of the frames that no procedure has taken: the sequence number of the next frame;
    // the oldest such frame from `from` on; and the mark that a procedure took it, which does
    // nothing if the frame has left the queue meanwhile.
    [[nodiscard]] std::uint64_t End() const EXCLUDES(m_lock);
    [[nodiscard]] std::optional<ImageQueue::Offer> NextUndispatched(std::uint64_t from) const
        EXCLUDES(m_lock);
    void MarkHandedOver(std::uint64_t sequence) EXCLUDES(m_lock);

  private:
    void NoteCounts() REQUIRES(m_lock);

    // Of the one frame under way, to which the regions belong.
    class CAPABILITY("role") IntakeRole {
      public:
        void Assert() const ASSERT_CAPABILITY(this) {}
    };

    const Notices& m_notices;
    platform::Event& m_imageArrived;
    platform::Event m_queued;

    IntakeRole m_intake;
    SpareMemory m_spare;
    CBufManager m_bufManager GUARDED_BY(m_intake){m_spare};

    mutable Lock m_lock{LockRank::ImageList, "image-list"};
    ImageQueue m_imageQueue GUARDED_BY(m_lock);
    NodePool m_nodes GUARDED_BY(m_lock);
    // Number of waiting frames and of free nodes, readable without the lock.
    std::atomic<std::size_t> m_waiting{0};
    std::atomic<std::size_t> m_free{0};
    // Changed under the lock; tells a frame under way of a clear.
    std::atomic<std::uint64_t> m_clears{0};
};

// One frame, from the check for a place to the queue; the caller has no two at a time. A node that
// was taken or made for it and not published is never reused, because the SDK may still write to
// it.
class FrameStore::FrameUnderWay {
  public:
    explicit FrameUnderWay(FrameStore& store) : m_store(store) {}
    FrameUnderWay(const FrameUnderWay&) = delete;
    FrameUnderWay& operator=(const FrameUnderWay&) = delete;

    // Whether fewer than `limit` frames wait.
    [[nodiscard]] bool HasRoom(std::int32_t limit);

    // May be stale: TakeFreeNode may still find none.
    [[nodiscard]] std::size_t GetFreeNodeCount() const {
        return m_store.m_free.load(std::memory_order_relaxed);
    }
    [[nodiscard]] std::optional<BufferNode> TakeFreeNode(std::uint64_t size, NodePool::Fit fit);
    // Gives `node` a region of exactly `size` bytes. kInvalid: size 0, the node is unchanged;
    // kNoBufferNode: no region available, the node has no memory.
    [[nodiscard]] Status AddOneNode(std::uint32_t size, BufferNode& node);
    // Replaces the node's region by one of `newSize` bytes, under the same name if that is free.
    // Other than 0: the node must not be used any more.
    [[nodiscard]] Status RellocNode(std::uint32_t newSize, BufferNode& node);

    // Queues the frame and sets both events. False: the queue was cleared while it was filled; its
    // node is free again.
    [[nodiscard]] bool Publish(const BufferNode& node);

  private:
    [[nodiscard]] std::uint32_t ModuleId() const {
        return static_cast<std::uint32_t>(m_store.m_notices.ModuleId());
    }

    FrameStore& m_store;
    std::uint64_t m_clears = 0;
};

}  // namespace cam

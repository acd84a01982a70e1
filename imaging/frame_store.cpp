#include "imaging/frame_store.h"

#include "base/log.h"
#include "base/text.h"

namespace cam {

FrameStore::FrameStore(const Notices& notices, platform::Event& imageArrived)
    : m_notices(notices), m_imageArrived(imageArrived) {
    static_cast<void>(m_queued.Create());
}

std::optional<BufferNode> FrameStore::Pop() {
    const LockGuard hold(m_lock);
    const auto node = m_imageQueue.Pop();
    NoteCounts();
    return node;
}

void FrameStore::NoteCounts() {
    m_waiting.store(m_imageQueue.Size(), std::memory_order_release);
    m_free.store(m_nodes.FreeCount(), std::memory_order_relaxed);
}

void FrameStore::Clear() {
    std::uint64_t end = 0;
    {
        const LockGuard hold(m_lock);
        ++m_clears;
        end = m_imageQueue.End();
    }
    int dropped = 0;
    for (;;) {
        std::optional<BufferNode> node;
        {
            const LockGuard hold(m_lock);
            node = m_imageQueue.PopBefore(end);
            NoteCounts();
        }
        if (!node) {
            break;
        }
        ++dropped;
        if (node->capacity > 0) {
            FreeBuf(*node);
        }
    }
    if (dropped > 0) {
        CAM_LOG(kLogWarning, m_notices.ModuleId(), "CCameraModule::ClearImage",
                "Warning:%d waiting images dropped", dropped);
    }
}

Status FrameStore::FreeBuf(const BufferNode& record) {
    if (Xalog_ShouldLog(kLogDebug)) {
        FixedText<sizeof SharedMemoryMappingInfo::name> name;
        {
            const LockGuard hold(m_lock);
            if (m_nodes.IsOut(record)) {
                name.Assign(record.sharedName);
            }
        }
        if (!name.empty()) {
            CAM_LOG(kLogDebug, m_notices.ModuleId(), "CCameraModule::SetParam", "freeimage %s",
                    name.c_str());
        }
    }
    bool returned = false;
    {
        const LockGuard hold(m_lock);
        returned = m_nodes.Return(record);
        NoteCounts();
    }
    if (!returned) {
        CAM_LOG(kLogError, m_notices.ModuleId(), "CBufManager::FreeBuf",
                "Returned image is not in the host's hands, ignored, frame number:%d",
                static_cast<int>(record.frameNumber));
    }
    return kOk;
}

std::uint64_t FrameStore::End() const {
    const LockGuard hold(m_lock);
    return m_imageQueue.End();
}

std::optional<ImageQueue::Offer> FrameStore::NextUndispatched(std::uint64_t from) const {
    const LockGuard hold(m_lock);
    return m_imageQueue.NextUndispatched(from);
}

void FrameStore::MarkHandedOver(std::uint64_t sequence) {
    const LockGuard hold(m_lock);
    m_imageQueue.MarkHandedOver(sequence);
}

// Without the lock: no other thread adds frames, and a clear in between drops this one.
bool FrameStore::FrameUnderWay::HasRoom(std::int32_t limit) {
    m_clears = m_store.m_clears.load(std::memory_order_acquire);
    return limit > 0 &&
           m_store.m_waiting.load(std::memory_order_acquire) < static_cast<std::size_t>(limit);
}

std::optional<BufferNode> FrameStore::FrameUnderWay::TakeFreeNode(std::uint64_t size,
                                                                  NodePool::Fit fit) {
    const LockGuard hold(m_store.m_lock);
    const auto node = m_store.m_nodes.Take(size, fit);
    m_store.NoteCounts();
    return node;
}

Status FrameStore::FrameUnderWay::AddOneNode(std::uint32_t size, BufferNode& node) try {
    m_store.m_intake.Assert();
    {
        // Before the region is made, so that nothing can fail after it.
        const LockGuard hold(m_store.m_lock);
        m_store.m_nodes.ReserveOneMore();
    }
    const Status status = m_store.m_bufManager.AddOneNode(ModuleId(), size, node);
    const LockGuard hold(m_store.m_lock);
    if (status == kOk) {
        m_store.m_nodes.Issue(node);
    } else if (status == kNoBufferNode) {
        m_store.m_nodes.Forget([this](const std::uint8_t* data, const char* name) {
            m_store.m_intake.Assert();
            return !m_store.m_bufManager.IsOpenRegion(data, name);
        });
        m_store.NoteCounts();
    }
    return status;
} catch (...) {
    return kNoBufferNode;
}

Status FrameStore::FrameUnderWay::RellocNode(std::uint32_t newSize, BufferNode& node) {
    m_store.m_intake.Assert();
    const Status status = m_store.m_bufManager.ReleaseNode(ModuleId(), node);
    if (status != kOk) {
        return status;
    }
    {
        const LockGuard hold(m_store.m_lock);
        m_store.m_nodes.Forget(
            [&node](const std::uint8_t*, const char* name) { return name == node.sharedName; });
    }
    return AddOneNode(newSize, node);
}

bool FrameStore::FrameUnderWay::Publish(const BufferNode& node) {
    {
        const LockGuard hold(m_store.m_lock);
        m_store.m_nodes.SetFrame(node);
        if (m_clears != m_store.m_clears) {
            static_cast<void>(m_store.m_nodes.Return(node));
            m_store.NoteCounts();
            return false;
        }
        m_store.m_imageQueue.Push(node);
        m_store.NoteCounts();
        // Under the lock: a host that takes this frame and triggers the next must not take this
        // one's signal for the next one's.
        m_store.m_imageArrived.Signal();
    }
    m_store.m_imageArrived.Wake();
    m_store.m_queued.Set();
    return true;
}

}  // namespace cam

#include "imaging/buf_manager.h"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <iterator>

#include "module/log/log.h"

namespace cam {

namespace {

constexpr std::int32_t kRegionKey = 0;
constexpr std::uint32_t kNumberTextSize = 64;
constexpr std::size_t kFirstRoom = 16;

}  // namespace

std::optional<BufferNode> CBufManager::TakeFreeNode(std::uint64_t size, Fit fit) {
    const platform::LockGuard hold(m_bufferLock);
    if (m_free.empty()) {
        return std::nullopt;
    }
    const auto fits = [&](const BufferNode& node) {
        return fit == Fit::Exactly ? node.capacity == size : node.capacity >= size;
    };
    auto place = std::find_if(m_free.rbegin(), m_free.rend(), fits);
    if (place == m_free.rend()) {
        place = m_free.rbegin();
    }
    const BufferNode node = *place;
    m_free.erase(std::next(place).base());
    m_freeCount.store(m_free.size(), std::memory_order_relaxed);
    m_issued[IndexOf(node)].isFree = false;  // every free node is an issued one
    return node;
}

Status CBufManager::AddOneNode(std::uint32_t moduleId, std::uint32_t size, BufferNode& node) try {
    if (size == 0) {
        return kInvalid;
    }
    const std::int32_t count = ++m_nodeCount;
    node.data = nullptr;
    node.sharedName = nullptr;
    node.capacity = 0;
    node.dataLength = 0;
    // The regions are never fewer than the nodes, or one would be recycled under a node.
    char number[kNumberTextSize] = {};
    std::snprintf(number, sizeof(number), "%d", count);
    static_cast<void>(SetNodeNum(number, sizeof(number)));

    ReserveOneMore();
    if (AllocateSharedMemory(moduleId, size, &node.data, &node.sharedName, kRegionKey) != kOk ||
        node.data == nullptr) {
        ForgetClosedRegions();
        return kNoBufferNode;
    }
    node.capacity = size;
    Issue(node);
    return kOk;
} catch (...) {
    return kNoBufferNode;
}

Status CBufManager::RellocNode(std::uint32_t moduleId, std::uint32_t newSize, BufferNode& node) {
    if (const Status status = ReleaseSharedMemory(moduleId, node.sharedName); status != kOk) {
        return status;
    }
    ForgetRegion(node.sharedName);
    --m_nodeCount;
    return AddOneNode(moduleId, newSize, node);
}

Status CBufManager::FreeBuf(const BufferNode& node) {
    {
        const platform::LockGuard hold(m_bufferLock);
        const std::size_t index = IndexOf(node);
        if (index < m_issued.size() && !m_issued[index].isFree) {
            m_issued[index].isFree = true;
            m_free.push_back(node);  // room was made when the node was issued
            m_freeCount.store(m_free.size(), std::memory_order_relaxed);
            return kOk;
        }
    }
    CAM_LOG(kLogError, kNoModuleId, "CBufManager::FreeBuf",
            "Returned image is not in the host's hands, ignored, frame number:%d",
            static_cast<int>(node.frameNumber));
    return kOk;
}

bool CBufManager::OwnsNode(const BufferNode& node) const {
    const platform::LockGuard hold(m_bufferLock);
    const std::size_t index = IndexOf(node);
    return index < m_issued.size() && !m_issued[index].isFree;
}

std::size_t CBufManager::IndexOf(const BufferNode& node) const {
    const auto place = std::lower_bound(m_issued.begin(), m_issued.end(), node.data,
                                        [](const Issued& issued, const std::uint8_t* data) {
                                            return std::less<>{}(issued.data, data);
                                        });
    const bool found = place != m_issued.end() && place->data == node.data &&
                       place->capacity == node.capacity && place->sharedName == node.sharedName;
    return found ? static_cast<std::size_t>(place - m_issued.begin()) : m_issued.size();
}

// Ahead of the region, so that nothing can fail once it is there, and ahead of every return.
void CBufManager::ReserveOneMore() {
    const platform::LockGuard hold(m_bufferLock);
    if (m_issued.size() == m_issued.capacity()) {
        m_issued.reserve(std::max(kFirstRoom, 2 * m_issued.size()));
    }
    m_free.reserve(m_issued.capacity());
}

void CBufManager::Issue(const BufferNode& node) {
    const platform::LockGuard hold(m_bufferLock);
    // A region that was recycled under a node belongs to the new one.
    Forget([&node](const std::uint8_t* data, const char* sharedName) {
        return data == node.data || sharedName == node.sharedName;
    });
    const auto place = std::find_if(
        m_issued.begin(), m_issued.end(),
        [&node](const Issued& issued) { return std::less<>{}(node.data, issued.data); });
    m_issued.insert(place, Issued{node.data, node.capacity, node.sharedName, false});
}

template <typename Predicate>
void CBufManager::Forget(Predicate isGone) {
    std::erase_if(m_issued, [&isGone](const Issued& issued) {
        return isGone(issued.data, issued.sharedName);
    });
    std::erase_if(m_free,
                  [&isGone](const BufferNode& node) { return isGone(node.data, node.sharedName); });
    m_freeCount.store(m_free.size(), std::memory_order_relaxed);
}

void CBufManager::ForgetRegion(const char* sharedName) {
    const platform::LockGuard hold(m_bufferLock);
    Forget([sharedName](const std::uint8_t*, const char* name) { return name == sharedName; });
}

void CBufManager::ForgetClosedRegions() {
    const platform::LockGuard hold(m_bufferLock);
    Forget(
        [this](const std::uint8_t* data, const char* name) { return !IsOpenRegion(data, name); });
}

}  // namespace cam

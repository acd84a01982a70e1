#include "imaging/node_pool.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <utility>

namespace cam {

namespace {

constexpr std::size_t kFirstRoom = 16;

// What is kept of a node when it is reused.
BufferNode MemoryOf(const BufferNode& node) {
    BufferNode memory;
    memory.data = node.data;
    memory.capacity = node.capacity;
    memory.sharedName = node.sharedName;
    return memory;
}

}  // namespace

std::optional<BufferNode> NodePool::Take(std::uint64_t size, Fit fit) {
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
    Issued& issued = *Find(node);  // every free node is an issued one
    issued.isFree = false;
    issued.frameNumber = node.frameNumber;
    return node;
}

void NodePool::ReserveOneMore() {
    if (m_issued.size() == m_issued.capacity()) {
        m_issued.reserve(std::max(kFirstRoom, 2 * m_issued.size()));
    }
    m_free.reserve(m_issued.capacity());
}

void NodePool::Issue(const BufferNode& node) {
    // A region recycled under a node belongs to the new node.
    Forget([&node](const std::uint8_t* data, const char* sharedName) {
        return data == node.data || sharedName == node.sharedName;
    });
    const auto place = std::find_if(
        m_issued.begin(), m_issued.end(),
        [&node](const Issued& issued) { return std::less<>{}(node.data, issued.data); });
    m_issued.insert(place,
                    Issued{node.data, node.capacity, node.frameNumber, node.sharedName, false});
}

void NodePool::SetFrame(const BufferNode& node) {
    if (Issued* const issued = Find(node)) {
        issued->frameNumber = node.frameNumber;
    }
}

bool NodePool::Return(const BufferNode& record) {
    Issued* const issued = Find(record);
    if (issued == nullptr || !IsOut(*issued, record)) {
        return false;
    }
    issued->isFree = true;
    m_free.push_back(MemoryOf(record));  // reserved when the node was issued
    return true;
}

bool NodePool::IsOut(const BufferNode& record) const {
    const Issued* const issued = Find(record);
    return issued != nullptr && IsOut(*issued, record);
}

bool NodePool::IsOut(const Issued& issued, const BufferNode& record) {
    return !issued.isFree && issued.frameNumber == record.frameNumber;
}

const NodePool::Issued* NodePool::Find(const BufferNode& record) const {
    const auto place = std::lower_bound(m_issued.begin(), m_issued.end(), record.data,
                                        [](const Issued& issued, const std::uint8_t* data) {
                                            return std::less<>{}(issued.data, data);
                                        });
    const bool found = place != m_issued.end() && place->data == record.data &&
                       place->capacity == record.capacity && place->sharedName == record.sharedName;
    return found ? &*place : nullptr;
}

NodePool::Issued* NodePool::Find(const BufferNode& record) {
    return const_cast<Issued*>(std::as_const(*this).Find(record));
}

}  // namespace cam

#include "standins/kz_camera_control/handle_table.h"

#include <utility>

namespace kz {

KZHandle HandleTable::Add(std::shared_ptr<CameraHandle> handle) {
    const std::lock_guard lock(m_mutex);
    m_handles.emplace(++m_last, std::move(handle));
    return reinterpret_cast<KZHandle>(m_last);
}

std::shared_ptr<CameraHandle> HandleTable::Find(KZHandle value) const {
    const std::lock_guard lock(m_mutex);
    const auto found = m_handles.find(reinterpret_cast<std::uintptr_t>(value));
    return found == m_handles.end() ? nullptr : found->second;
}

void HandleTable::Remove(KZHandle value) {
    const std::lock_guard lock(m_mutex);
    m_handles.erase(reinterpret_cast<std::uintptr_t>(value));
}

std::size_t HandleTable::Size() const {
    const std::lock_guard lock(m_mutex);
    return m_handles.size();
}

std::vector<std::shared_ptr<CameraHandle>> HandleTable::All() const {
    const std::lock_guard lock(m_mutex);
    std::vector<std::shared_ptr<CameraHandle>> all;
    all.reserve(m_handles.size());
    for (const auto& [value, handle] : m_handles) {
        all.push_back(handle);
    }
    return all;
}

}  // namespace kz

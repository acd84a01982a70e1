#include "platform/shared_mapping.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

namespace platform {

SharedMapping::~SharedMapping() {
    UnmapAndClose();
}

SharedMapping::SharedMapping(SharedMapping&& other) noexcept {
    *this = std::move(other);
}

SharedMapping& SharedMapping::operator=(SharedMapping&& other) noexcept {
    if (this != &other) {
        UnmapAndClose();
        m_handle = std::exchange(other.m_handle, kNoHandle);
        m_view = std::exchange(other.m_view, nullptr);
        m_size = std::exchange(other.m_size, 0);
        m_open = std::exchange(other.m_open, false);
        m_owner = std::exchange(other.m_owner, false);
        std::copy(std::begin(other.m_name), std::end(other.m_name), m_name);
    }
    return *this;
}

void SharedMapping::UnmapAndClose() noexcept {
    [[maybe_unused]] const int unmapped = Unmap();
    [[maybe_unused]] const int closed = Close();
    m_size = 0;
}

// False, with nothing stored, for a name that is empty or too long.
bool SharedMapping::StoreName(const char* name) noexcept {
    const std::size_t length = name == nullptr ? 0 : std::strlen(name);
    if (length == 0 || length >= kMaxName) {
        return false;
    }
    std::memcpy(m_name, name, length + 1);
    return true;
}

}  // namespace platform

#include "platform/shared_mapping.h"

#include <cstring>

namespace platform {

SharedMapping::~SharedMapping() {
    UnmapAndClose();
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

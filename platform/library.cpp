#include "platform/library.h"

#include <utility>

namespace platform {

DynamicLibrary::~DynamicLibrary() {
    Unload();
}

DynamicLibrary::DynamicLibrary(DynamicLibrary&& other) noexcept
    : m_handle(std::exchange(other.m_handle, nullptr)) {}

DynamicLibrary& DynamicLibrary::operator=(DynamicLibrary&& other) noexcept {
    if (this != &other) {
        Unload();
        m_handle = std::exchange(other.m_handle, nullptr);
    }
    return *this;
}

}  // namespace platform

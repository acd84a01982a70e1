#include "platform/library.h"

#include <dlfcn.h>

#include <utility>

namespace platform {

bool DynamicLibrary::Load(const std::string& path, std::string& error) {
    Unload();
    m_handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (m_handle == nullptr) {
        const char* reason = dlerror();
        error = reason != nullptr ? reason : "unknown reason";
    }
    return IsLoaded();
}

DynamicLibrary::AnyFunction DynamicLibrary::Symbol(const char* name) const noexcept {
    return m_handle == nullptr ? nullptr : reinterpret_cast<AnyFunction>(dlsym(m_handle, name));
}

void DynamicLibrary::Unload() noexcept {
    if (m_handle != nullptr) {
        dlclose(std::exchange(m_handle, nullptr));
    }
}

std::string LibraryFileName(std::string_view name) {
    return "lib" + std::string(name) + ".so";
}

}  // namespace platform

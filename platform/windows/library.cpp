#include "platform/library.h"

#include <windows.h>

#include <filesystem>
#include <system_error>
#include <utility>

namespace platform {

bool DynamicLibrary::Load(const std::string& path, std::string& error) {
    Unload();
    // Next to the file, next to the program and in the system's folder: never in the current
    // folder.
    constexpr DWORD search = LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_DEFAULT_DIRS;
    // Works for absolute paths only.
    std::error_code failed;
    const std::filesystem::path file =
        std::filesystem::absolute(std::u8string(path.begin(), path.end()), failed);
    m_handle = failed ? nullptr : LoadLibraryExW(file.c_str(), nullptr, search);
    if (m_handle == nullptr) {
        const auto code = failed ? failed.value() : static_cast<int>(GetLastError());
        error = path + ": " + std::system_category().message(code) + " (error " +
                std::to_string(code) + ')';
    }
    return IsLoaded();
}

DynamicLibrary::AnyFunction DynamicLibrary::Symbol(const char* name) const noexcept {
    return m_handle == nullptr ? nullptr
                               : reinterpret_cast<AnyFunction>(
                                     GetProcAddress(static_cast<HMODULE>(m_handle), name));
}

void DynamicLibrary::Unload() noexcept {
    if (m_handle != nullptr) {
        FreeLibrary(static_cast<HMODULE>(std::exchange(m_handle, nullptr)));
    }
}

std::string LibraryFileName(std::string_view name) {
    return std::string(name) + ".dll";
}

}  // namespace platform

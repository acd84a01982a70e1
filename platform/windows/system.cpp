#include "platform/system.h"

#include <windows.h>

#include <objbase.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <system_error>

#include "platform/windows/wide_text.h"

namespace platform {

std::uint32_t CurrentProcessId() noexcept {
    return GetCurrentProcessId();
}

std::string NewGuidText() {
    GUID guid{};
    const HRESULT result = CoCreateGuid(&guid);
    if (FAILED(result)) {
        throw std::system_error(result, std::system_category(), "CoCreateGuid");
    }
    const auto& d = guid.Data4;
    std::array<char, 39> text{};
    std::snprintf(text.data(), text.size(), "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                  static_cast<unsigned>(guid.Data1), guid.Data2, guid.Data3, d[0], d[1], d[2], d[3],
                  d[4], d[5], d[6], d[7]);
    return text.data();
}

std::string ModuleFilePath(const void* address) {
    HMODULE module = nullptr;
    if (!GetModuleHandleExW(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            static_cast<const wchar_t*>(address), &module)) {
        return {};
    }
    std::array<wchar_t, MAX_PATH> path{};
    const DWORD length = GetModuleFileNameW(module, path.data(), MAX_PATH);
    // A truncated path fills the whole buffer, including the last character.
    return FromWide({path.data(), std::min<std::size_t>(length, path.size() - 1)}, CP_UTF8);
}

const char kPathSeparator = '\\';

}  // namespace platform

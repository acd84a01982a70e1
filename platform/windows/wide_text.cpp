#include "platform/windows/wide_text.h"

#include <windows.h>

#include <limits>

namespace platform {
namespace {

constexpr std::size_t kMostCharacters = std::numeric_limits<int>::max();

}  // namespace

std::wstring ToWide(std::string_view text, unsigned codePage) {
    if (text.empty() || text.size() > kMostCharacters) {
        return {};
    }
    const int size = static_cast<int>(text.size());
    const int needed = MultiByteToWideChar(codePage, 0, text.data(), size, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(needed), L'\0');
    MultiByteToWideChar(codePage, 0, text.data(), size, wide.data(), needed);
    return wide;
}

std::string FromWide(std::wstring_view text, unsigned codePage) {
    if (text.empty() || text.size() > kMostCharacters) {
        return {};
    }
    const int size = static_cast<int>(text.size());
    const int needed =
        WideCharToMultiByte(codePage, 0, text.data(), size, nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<std::size_t>(needed), '\0');
    WideCharToMultiByte(codePage, 0, text.data(), size, narrow.data(), needed, nullptr, nullptr);
    return narrow;
}

}  // namespace platform

#include "platform/code_page.h"

#include <windows.h>

#include <algorithm>

#include "platform/windows/wide_text.h"

namespace platform {
namespace {

constexpr wchar_t kReplacement = 0xFFFD;  // what the system substitutes for an invalid byte

std::wstring ToWideMarked(std::string_view text, unsigned codePage) {
    std::wstring wide = ToWide(text, codePage);
    std::replace(wide.begin(), wide.end(), kReplacement, L'?');
    return wide;
}

}  // namespace

std::string SystemToUtf8(std::string_view text) {
    return FromWide(ToWideMarked(text, CP_ACP), CP_UTF8);
}

std::string Utf8ToSystem(std::string_view text) {
    return FromWide(ToWideMarked(text, CP_UTF8), CP_ACP);
}

}  // namespace platform

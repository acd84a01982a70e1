// Narrow text to the wide text of the Windows API and back.
#pragma once

#include <string>
#include <string_view>

namespace platform {

// `codePage` as in MultiByteToWideChar: CP_UTF8, CP_ACP. Empty for empty or unconvertible text.
[[nodiscard]] std::wstring ToWide(std::string_view text, unsigned codePage);
[[nodiscard]] std::string FromWide(std::wstring_view text, unsigned codePage);

}  // namespace platform

// Texts cross the host and SDK boundaries in the system's single-byte code page or in UTF-8. The
// conversions throw only std::bad_alloc.
#pragma once

#include <string>
#include <string_view>

namespace platform {

[[nodiscard]] bool IsValidUtf8(std::string_view text) noexcept;

// Windows: the process's ANSI code page. Linux: the locale's character set, or Windows-1252 where
// the locale is UTF-8 or unset. What cannot be converted becomes '?'.
[[nodiscard]] std::string SystemToUtf8(std::string_view text);
[[nodiscard]] std::string Utf8ToSystem(std::string_view text);

// A text that may be in either encoding: valid UTF-8 is kept, anything else is converted from the
// code page.
[[nodiscard]] std::string AsUtf8(std::string_view text);

}  // namespace platform

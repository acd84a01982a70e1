// What the process and the machine are: ids, unique names, where a piece of code was loaded from.
#pragma once

#include <cstdint>
#include <string>

namespace platform {

[[nodiscard]] std::uint32_t CurrentProcessId() noexcept;

// A fresh GUID as "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}": 38 characters, upper-case.
[[nodiscard]] std::string NewGuidText();

// The path, in UTF-8, of the library or program file that holds the code or data at `address`;
// empty when the system cannot tell. On Windows it ends after 259 characters.
[[nodiscard]] std::string ModuleFilePath(const void* address);

// What stands between a folder and a name in ModuleFilePath's answer.
extern const char kPathSeparator;

}  // namespace platform

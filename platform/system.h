// The process and the machine: ids, unique names, the file that code was loaded from.
#pragma once

#include <cstdint>
#include <string>

namespace platform {

[[nodiscard]] std::uint32_t CurrentProcessId() noexcept;

// A new GUID as "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}": 38 characters, upper-case.
[[nodiscard]] std::string NewGuidText();

// The path, in UTF-8, of the library or program file that holds the code or data at `address`;
// empty when the system cannot tell. On Windows it is cut at 259 characters.
[[nodiscard]] std::string ModuleFilePath(const void* address);

// Separates folder and name in the result of ModuleFilePath.
extern const char kPathSeparator;

}  // namespace platform

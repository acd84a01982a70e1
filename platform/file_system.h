// Folders and files by narrow path. A path is read as UTF-8 if it is valid UTF-8, otherwise as text
// of the system's single-byte code page. Out of memory counts as a path that cannot be read; only
// JoinPath throws.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

[[nodiscard]] bool PathExists(std::string_view path) noexcept;

// The names of a folder's entries (UTF-8, no folder part, without "." and ".."), in the order the
// file system lists them; nothing when the folder cannot be listed.
[[nodiscard]] std::optional<std::vector<std::string>> ListFolder(std::string_view folder) noexcept;

// `folder` + the system's separator + `name`.
[[nodiscard]] std::string JoinPath(std::string_view folder, std::string_view name);

}  // namespace platform

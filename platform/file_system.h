// Folders and files by narrow path. A path is taken as UTF-8 when it is valid UTF-8, otherwise as
// text of the system's single-byte code page. Lack of memory counts as a path that cannot be read;
// only JoinPath throws.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

[[nodiscard]] bool PathExists(std::string_view path) noexcept;

// The names (UTF-8, no folder part, "." and ".." left out) of a folder's entries in the order the
// file system gives them; nothing when the folder cannot be listed.
[[nodiscard]] std::optional<std::vector<std::string>> ListFolder(std::string_view folder) noexcept;

// `folder` + the system's separator + `name`.
[[nodiscard]] std::string JoinPath(std::string_view folder, std::string_view name);

}  // namespace platform

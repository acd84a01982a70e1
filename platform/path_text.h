// Conversion of paths between the narrow text of our interfaces and the system's form.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

// `text` as in file_system.h. Throws std::bad_alloc.
[[nodiscard]] std::filesystem::path ToPath(std::string_view text);

// The names of a folder's entries, in UTF-8, without "." and ".."; nothing when it cannot be
// listed. A name without a UTF-8 form (a stray half of a UTF-16 pair) is skipped. Throws
// std::bad_alloc. Written for each system because std::filesystem's iteration ends the process when
// out of memory.
[[nodiscard]] std::optional<std::vector<std::string>> ListNames(
    const std::filesystem::path& folder);

}  // namespace platform

// Paths between the narrow text of our interfaces and the system's own form.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

// `text` as in file_system.h.
[[nodiscard]] std::filesystem::path ToPath(std::string_view text);

// Nothing where a name has no UTF-8 form (a stray half of a UTF-16 pair).
[[nodiscard]] std::optional<std::string> ToUtf8(const std::filesystem::path& path);

}  // namespace platform

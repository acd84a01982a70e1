// Whole files by UTF-8 path.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace module_frame {

[[nodiscard]] bool FileExists(const std::string& path);

// Nothing when the file cannot be read or is unreasonably large for settings.
[[nodiscard]] std::optional<std::string> ReadFile(const std::string& path);

// Writes a temporary file and renames it over `path`: a reader finds the complete old or new
// content, whenever the writer dies.
[[nodiscard]] bool ReplaceFile(const std::string& path, std::string_view content);

[[nodiscard]] std::string JoinFolder(const std::string& folder, const std::string& file);

}  // namespace module_frame

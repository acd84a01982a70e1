#include "platform/file_system.h"

#include <filesystem>
#include <system_error>

#include "platform/path_text.h"
#include "platform/system.h"

namespace platform {
namespace {

// A folder may be named with a separator behind it, which not every system call takes.
std::filesystem::path WithoutTrailingSeparator(const std::filesystem::path& path) {
    return path.has_filename() || !path.has_relative_path() ? path : path.parent_path();
}

}  // namespace

bool PathExists(std::string_view path) {
    std::error_code error;
    return std::filesystem::exists(WithoutTrailingSeparator(ToPath(path)), error);
}

std::optional<std::vector<std::string>> ListFolder(std::string_view folder) {
    std::error_code error;
    std::filesystem::directory_iterator entry(ToPath(folder), error);
    std::vector<std::string> names;
    while (!error && entry != std::filesystem::directory_iterator{}) {
        if (auto name = ToUtf8(entry->path().filename())) {
            names.push_back(std::move(*name));
        }
        entry.increment(error);
    }
    if (error) {
        return std::nullopt;
    }
    return names;
}

std::string JoinPath(std::string_view folder, std::string_view name) {
    std::string path(folder);
    path += kPathSeparator;
    path += name;
    return path;
}

}  // namespace platform

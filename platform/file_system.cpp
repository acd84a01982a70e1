#include "platform/file_system.h"

#include <filesystem>
#include <system_error>

#include "platform/path_text.h"
#include "platform/system.h"

namespace platform {
namespace {

// A folder name may end with a separator, which not every system call accepts.
std::filesystem::path WithoutTrailingSeparator(const std::filesystem::path& path) {
    return path.has_filename() || !path.has_relative_path() ? path : path.parent_path();
}

}  // namespace

bool PathExists(std::string_view path) noexcept try {
    std::error_code error;
    return std::filesystem::exists(WithoutTrailingSeparator(ToPath(path)), error);
} catch (...) {
    return false;
}

std::optional<std::vector<std::string>> ListFolder(std::string_view folder) noexcept try {
    return ListNames(ToPath(folder));
} catch (...) {
    return std::nullopt;
}

std::string JoinPath(std::string_view folder, std::string_view name) {
    std::string path(folder);
    path += kPathSeparator;
    path += name;
    return path;
}

}  // namespace platform

#include "standins/module_frame/files.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <random>
#include <system_error>

namespace module_frame {
namespace {

constexpr std::uintmax_t kMaxFileSize = std::uintmax_t{256} << 20;

std::filesystem::path PathOfUtf8(const std::string& path) {
    return std::filesystem::path(reinterpret_cast<const char8_t*>(path.c_str()));
}

}  // namespace

bool FileExists(const std::string& path) {
    std::error_code error;
    return std::filesystem::exists(PathOfUtf8(path), error) || error;
}

std::optional<std::string> ReadFile(const std::string& path) {
    const std::filesystem::path file = PathOfUtf8(path);
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(file, error);
    if (error || size > kMaxFileSize) {
        return std::nullopt;
    }
    std::ifstream in(file, std::ios::binary);
    std::string content(static_cast<std::size_t>(size), '\0');
    in.read(content.data(), static_cast<std::streamsize>(content.size()));
    if (!in) {
        return std::nullopt;
    }
    return content;
}

bool ReplaceFile(const std::string& path, std::string_view content) {
    const std::filesystem::path target = PathOfUtf8(path);
    std::filesystem::path beside = target;
    beside += "." + std::to_string(std::random_device{}()) + ".tmp";

    std::ofstream out(beside, std::ios::binary | std::ios::trunc);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    out.close();
    std::error_code error;
    if (out) {
        std::filesystem::rename(beside, target, error);
    }
    if (!out || error) {
        std::error_code ignored;
        std::filesystem::remove(beside, ignored);
        return false;
    }
    return true;
}

std::string JoinFolder(const std::string& folder, const std::string& file) {
    const std::u8string joined = (PathOfUtf8(folder) / PathOfUtf8(file)).u8string();
    return {reinterpret_cast<const char*>(joined.data()), joined.size()};
}

}  // namespace module_frame

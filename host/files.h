// Files and folders by path.
#pragma once

#include <cstdio>
#include <filesystem>
#include <string>

namespace host {

// From and to UTF-8.
[[nodiscard]] inline std::filesystem::path PathOf(const std::string& text) {
    return std::u8string(text.begin(), text.end());
}
[[nodiscard]] inline std::string PathText(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

// Binary; null with errno set where it cannot be.
[[nodiscard]] std::FILE* OpenForWriting(const std::filesystem::path& path);

}  // namespace host

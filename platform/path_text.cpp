#include "platform/path_text.h"

#include <system_error>

#include "platform/code_page.h"

namespace platform {

std::filesystem::path ToPath(std::string_view text) {
    const std::string utf8 = AsUtf8(text);
    return std::u8string(utf8.begin(), utf8.end());
}

std::optional<std::string> ToUtf8(const std::filesystem::path& path) {
    try {
        const std::u8string text = path.u8string();
        return AsUtf8(std::string(text.begin(), text.end()));
    } catch (const std::system_error&) {
        return std::nullopt;
    }
}

}  // namespace platform

#include "platform/path_text.h"

#include "platform/code_page.h"

namespace platform {

std::filesystem::path ToPath(std::string_view text) {
    const std::string utf8 = AsUtf8(text);
    return std::u8string(utf8.begin(), utf8.end());
}

}  // namespace platform

#include "platform/system.h"

#include <dlfcn.h>
#include <sys/random.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <system_error>

namespace platform {
namespace {

void FillRandom(std::array<unsigned char, 16>& bytes) {
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        const ssize_t got = getrandom(bytes.data() + filled, bytes.size() - filled, 0);
        if (got > 0) {
            filled += static_cast<std::size_t>(got);
        } else if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "getrandom");
        }
    }
}

}  // namespace

std::uint32_t CurrentProcessId() noexcept {
    return static_cast<std::uint32_t>(getpid());
}

std::string NewGuidText() {
    std::array<unsigned char, 16> b{};
    FillRandom(b);
    // RFC 4122: version 4 (random), variant 1.
    b[6] = static_cast<unsigned char>((b[6] & 0x0F) | 0x40);
    b[8] = static_cast<unsigned char>((b[8] & 0x3F) | 0x80);
    std::array<char, 39> text{};
    std::snprintf(text.data(), text.size(),
                  "{%02X%02X%02X%02X-%02X%02X-%02X%02X-%02X%02X-%02X%02X%02X%02X%02X%02X}", b[0],
                  b[1], b[2], b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13],
                  b[14], b[15]);
    return text.data();
}

std::string ModuleFilePath(const void* address) {
    Dl_info info{};
    if (dladdr(address, &info) == 0 || info.dli_fname == nullptr) {
        return {};
    }
    // The program itself is listed by the name it was started with, which may be relative.
    std::error_code failed;
    const auto path = std::filesystem::canonical(info.dli_fname, failed);
    return failed ? std::string(info.dli_fname) : path.string();
}

const char kPathSeparator = '/';

}  // namespace platform

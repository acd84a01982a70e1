#include "standins/xalog/text_output.h"

#include <windows.h>

#include <filesystem>

namespace xalog {
namespace {

HANDLE Handle(std::intptr_t handle) {
    return reinterpret_cast<HANDLE>(handle);
}

}  // namespace

std::optional<TextOutput> TextOutput::OpenFile(const char* path) {
    const std::filesystem::path utf8Path(reinterpret_cast<const char8_t*>(path));
    const HANDLE file = CreateFileW(utf8Path.c_str(), FILE_APPEND_DATA | SYNCHRONIZE,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return std::nullopt;
    }
    return TextOutput(reinterpret_cast<std::intptr_t>(file), true);
}

TextOutput TextOutput::StandardError() {
    return {0, false};
}

TextOutput::~TextOutput() {
    if (m_owned) {
        CloseHandle(Handle(m_handle));
    }
}

// Windows does not report whether a pipe is read; only the writing thread waits for one.
std::size_t TextOutput::Write(std::string_view text, std::chrono::milliseconds) const noexcept {
    // Queried each time, because a program may redirect it.
    const HANDLE handle = m_owned ? Handle(m_handle) : GetStdHandle(STD_ERROR_HANDLE);
    std::size_t written = 0;
    while (written < text.size()) {
        DWORD count = 0;
        if (!WriteFile(handle, text.data() + written, static_cast<DWORD>(text.size() - written),
                       &count, nullptr) ||
            count == 0) {
            break;
        }
        written += count;
    }
    return written;
}

}  // namespace xalog

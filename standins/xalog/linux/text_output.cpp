#include "standins/xalog/text_output.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

namespace xalog {
namespace {

constexpr mode_t kReadByAll = 0644;

int Descriptor(std::intptr_t handle) {
    return static_cast<int>(handle);
}

}  // namespace

std::optional<TextOutput> TextOutput::OpenFile(const char* path) {
    // Opened for writing only, a pipe would block here until it has a reader, and end the process
    // when the reader closes it.
    struct stat status {};
    const bool isPipe = stat(path, &status) == 0 && S_ISFIFO(status.st_mode);
    const int access = isPipe ? O_RDWR : O_WRONLY;
    const int file =
        open(path, access | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, kReadByAll);
    if (file < 0) {
        return std::nullopt;
    }
    return TextOutput(file, true);
}

TextOutput TextOutput::StandardError() {
    return {STDERR_FILENO, false};
}

TextOutput::~TextOutput() {
    if (m_owned) {
        close(Descriptor(m_handle));
    }
}

std::size_t TextOutput::Write(std::string_view text,
                              std::chrono::milliseconds patience) const noexcept {
    const int file = Descriptor(m_handle);
    std::size_t written = 0;
    // Standard error is shared with other processes and so stays blocking. A ready pipe takes
    // PIPE_BUF bytes without blocking.
    bool waitFirst = !m_owned;
    const std::size_t longestPiece = m_owned ? text.size() : PIPE_BUF;
    while (written < text.size()) {
        if (waitFirst) {
            pollfd ready{file, POLLOUT, 0};
            const int polled = poll(&ready, 1, static_cast<int>(patience.count()));
            if (polled < 0 && errno == EINTR) {
                continue;
            }
            if (polled <= 0) {
                break;
            }
        }
        const std::string_view piece = text.substr(written, longestPiece);
        const ssize_t count = write(file, piece.data(), piece.size());
        if (count > 0) {
            written += static_cast<std::size_t>(count);
        } else if (count < 0 && errno == EAGAIN && !waitFirst) {
            waitFirst = true;
        } else if (count == 0 || errno != EINTR) {
            break;
        }
    }
    return written;
}

}  // namespace xalog

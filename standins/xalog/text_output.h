// An output for text at the level of the operating system.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

namespace xalog {

// A file of the log's own, or the standard error of the process. Writing allocates nothing, takes
// no lock and calls only what a signal handler may call.
class TextOutput {
  public:
    // Appends to existing content; `path` is UTF-8. A named pipe is opened at once, with or without
    // a reader. Nothing when it cannot be opened.
    [[nodiscard]] static std::optional<TextOutput> OpenFile(const char* path);
    [[nodiscard]] static TextOutput StandardError();

    TextOutput(TextOutput&& other) noexcept
        : m_handle(other.m_handle), m_owned(std::exchange(other.m_owned, false)) {}
    TextOutput& operator=(TextOutput&& other) noexcept {
        std::swap(m_handle, other.m_handle);
        std::swap(m_owned, other.m_owned);
        return *this;
    }
    ~TextOutput();

    // Returns the bytes taken: fewer than `text` has if the output is full, broken, or a pipe not
    // read for `patience`. A write that the system itself delays (a disk) takes as long as it
    // takes.
    [[nodiscard]] std::size_t Write(std::string_view text,
                                    std::chrono::milliseconds patience) const noexcept;

  private:
    TextOutput(std::intptr_t handle, bool owned) : m_handle(handle), m_owned(owned) {}

    std::intptr_t m_handle;  // a file descriptor or a HANDLE
    bool m_owned;
};

}  // namespace xalog

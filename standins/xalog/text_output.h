// A place that takes text from the operating system's point of view.
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
    // Appends to what is there; `path` is UTF-8. A named pipe is opened at once, read or not. None
    // when it cannot be opened.
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

    // The bytes taken: fewer than `text` has when the place is full, broken, or, a pipe, not read
    // for `patience`. A write that the system itself holds up (a disk) lasts as long as that does.
    [[nodiscard]] std::size_t Write(std::string_view text,
                                    std::chrono::milliseconds patience) const noexcept;

  private:
    TextOutput(std::intptr_t handle, bool owned) : m_handle(handle), m_owned(owned) {}

    std::intptr_t m_handle;  // a file descriptor or a HANDLE
    bool m_owned;
};

}  // namespace xalog

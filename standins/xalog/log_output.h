// One output for the lines as text: joins repeated lines and counts lines that it could not write.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

#include "standins/xalog/line_queue.h"
#include "standins/xalog/text_output.h"

namespace xalog {

// "37 lines lost: the log could not keep up"
inline constexpr std::string_view kLinesLost = " lines lost: the log could not keep up";
inline constexpr std::int32_t kLostLevel = 3;

// Like its TextOutput, usable in a signal handler. One thread at a time.
class LogOutput {
  public:
    explicit LogOutput(TextOutput output) : m_output(std::move(output)) {}

    // A line with the level and message of the previous one is only counted. So is one that the
    // output does not accept in time; after that it does not wait for the output until it accepts
    // again.
    void Write(const LineQueue::Line& line) noexcept;
    void CountLost(std::uint64_t lines) noexcept { m_lost += lines; }

    // Whether there are counted lines that have not been reported yet.
    [[nodiscard]] bool Owes() const noexcept { return m_repeats > 0 || m_lost > 0; }
    void WriteCounts() noexcept;

    // How long a single line may wait for a reader.
    void SetPatience(std::chrono::milliseconds patience) noexcept { m_patience = patience; }

    [[nodiscard]] TextOutput Release() noexcept { return std::move(m_output); }

  private:
    static constexpr std::size_t kLongestJoined = 1024;

    [[nodiscard]] bool Put(std::string_view text) noexcept;
    [[nodiscard]] bool PutCount(std::string_view level, std::string_view before,
                                std::uint64_t count, std::string_view after) noexcept;
    [[nodiscard]] std::string_view Last() const noexcept { return {m_last.data(), m_lastSize}; }

    TextOutput m_output;
    std::chrono::milliseconds m_patience{1000};
    bool m_stalled = false;
    bool m_midLine = false;  // only the beginning of a line was taken

    std::array<char, kTimeSize> m_lastTime{};  // time of the newest line, written or not
    // The previous line, from its level on; empty if it was not written or is too long to join.
    std::array<char, kLongestJoined> m_last{};
    std::size_t m_lastSize = 0;
    std::uint64_t m_repeats = 0;
    std::uint64_t m_lost = 0;
};

}  // namespace xalog

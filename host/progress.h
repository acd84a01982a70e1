// A bar on the terminal that shows how far a command has come.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace host {

// "[#####.....] 50/100 frames  29.9 fps" in less than `width` columns: the bar shrinks and goes
// first, then the end of the text. `total` 0: no bar, there is no end to it.
[[nodiscard]] std::string ProgressLine(std::uint64_t done, std::uint64_t total,
                                       double framesPerSecond, std::size_t width);

// Draws on standard error while that is a terminal, else does nothing. Gone when destroyed.
class ProgressBar {
  public:
    explicit ProgressBar(std::uint64_t total) : m_total(total) {}
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    void Update(std::uint64_t done);
    // Makes way for a message; the next update draws it again.
    void Clear();

  private:
    using Clock = std::chrono::steady_clock;

    std::uint64_t m_total;
    bool m_drawn = false;
    Clock::time_point m_start = Clock::now();
    Clock::time_point m_nextDraw = m_start;
};

}  // namespace host

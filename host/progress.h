// A bar on the terminal that shows how far a command has come.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace host {

// "[#####.....]  50/100 frames  29.9 fps": one line of 79 columns at most.
[[nodiscard]] std::string ProgressLine(std::uint64_t done, std::uint64_t total,
                                       double framesPerSecond);

// Draws on standard error while that is a terminal, else does nothing. Gone when destroyed.
class ProgressBar {
  public:
    explicit ProgressBar(std::uint64_t total);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    void Update(std::uint64_t done);

  private:
    using Clock = std::chrono::steady_clock;

    std::uint64_t m_total;
    bool m_shown;
    Clock::time_point m_start = Clock::now();
    Clock::time_point m_nextDraw = m_start;
};

}  // namespace host

#include "host/progress.h"

#include <algorithm>
#include <cstdio>

#include "host/console.h"
#include "host/text.h"

namespace host {
namespace {

constexpr std::uint64_t kCells = 40;
constexpr std::chrono::milliseconds kDrawInterval{100};

}  // namespace

std::string ProgressLine(std::uint64_t done, std::uint64_t total, double framesPerSecond) {
    const std::uint64_t filled = total == 0 ? 0 : std::min(done, total) * kCells / total;
    return "[" + std::string(filled, '#') + std::string(kCells - filled, '.') + "] " +
           std::to_string(done) + "/" + std::to_string(total) + " frames  " +
           Decimal(framesPerSecond, 1) + " fps";
}

ProgressBar::ProgressBar(std::uint64_t total)
    : m_total(total), m_shown(StandardErrorIsTerminal()) {}

ProgressBar::~ProgressBar() {
    if (m_shown) {
        std::fputs(kClearLine, stderr);
        std::fflush(stderr);
    }
}

void ProgressBar::Update(std::uint64_t done) {
    const Clock::time_point now = Clock::now();
    if (!m_shown || now < m_nextDraw) {
        return;
    }
    m_nextDraw = now + kDrawInterval;
    const double seconds = std::chrono::duration<double>(now - m_start).count();
    const double rate = seconds > 0 ? static_cast<double>(done) / seconds : 0;
    std::fputs((kClearLine + ProgressLine(done, m_total, rate)).c_str(), stderr);
    std::fflush(stderr);
}

}  // namespace host

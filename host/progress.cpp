#include "host/progress.h"

#include <algorithm>
#include <cstdio>

#include "host/console.h"
#include "host/text.h"

namespace host {
namespace {

constexpr std::uint64_t kMostCells = 40;
constexpr std::uint64_t kFewestCells = 5;
constexpr std::chrono::milliseconds kDrawInterval{100};

}  // namespace

std::string ProgressLine(std::uint64_t done, std::uint64_t total, double framesPerSecond,
                         std::size_t width) {
    std::string text = std::to_string(done) + (total > 0 ? "/" + std::to_string(total) : "") +
                       " frames  " + Decimal(framesPerSecond, 1) + " fps";
    // A full line would make the terminal go to the next one.
    const std::size_t room = width > 0 ? width - 1 : 0;
    constexpr std::size_t kBrackets = 3;  // and the blank behind them
    if (total > 0 && room >= text.size() + kBrackets + kFewestCells) {
        const std::uint64_t cells =
            std::min<std::uint64_t>(kMostCells, room - text.size() - kBrackets);
        const std::uint64_t filled = std::min(done, total) * cells / total;
        text = "[" + std::string(filled, '#') + std::string(cells - filled, '.') + "] " + text;
    }
    return text.substr(0, room);
}

ProgressBar::~ProgressBar() {
    Clear();
}

void ProgressBar::Clear() {
    if (m_drawn) {
        std::fputs(kClearLine, stderr);
        std::fflush(stderr);
        m_drawn = false;
    }
}

void ProgressBar::Update(std::uint64_t done) {
    const Clock::time_point now = Clock::now();
    if (now < m_nextDraw) {
        return;
    }
    m_nextDraw = now + kDrawInterval;
    const std::size_t width = StandardErrorWidth();
    if (width == 0) {
        return;
    }
    const double seconds = std::chrono::duration<double>(now - m_start).count();
    const double rate = seconds > 0 ? static_cast<double>(done) / seconds : 0;
    std::fputs((kClearLine + ProgressLine(done, m_total, rate, width)).c_str(), stderr);
    std::fflush(stderr);
    m_drawn = true;
}

}  // namespace host

#include "standins/xalog/log_output.h"

#include <charconv>

namespace xalog {
namespace {

constexpr std::string_view kRepeatedBefore = "(the line above ";
constexpr std::string_view kRepeatedAfter = " more times)";
constexpr std::string_view kLostLevelText = "[W] ";
constexpr std::size_t kLongestNumber = 20;

}  // namespace

void LogOutput::Write(const LineQueue::Line& line) noexcept {
    const std::string_view text = line.Text();
    const std::string_view body = text.substr(kTimeSize);
    CountLost(line.lostBefore);
    const bool repeated = m_lost == 0 && !body.empty() && body == Last();
    if (!repeated) {
        WriteCounts();
        m_lastSize = 0;
        if (!Put(text)) {
            ++m_lost;
        } else if (body.size() <= m_last.size()) {
            m_lastSize = body.copy(m_last.data(), m_last.size());
        }
    }
    m_repeats += repeated ? 1 : 0;
    text.copy(m_lastTime.data(), kTimeSize);
}

void LogOutput::WriteCounts() noexcept {
    if (m_repeats > 0) {
        const std::string_view level = Last().substr(0, kLevelSize);
        if (!PutCount(level, kRepeatedBefore, m_repeats, kRepeatedAfter)) {
            m_lost += m_repeats;
        }
        m_repeats = 0;
    }
    if (m_lost > 0 && PutCount(kLostLevelText, {}, m_lost, kLinesLost)) {
        m_lost = 0;
        m_lastSize = 0;
    }
}

bool LogOutput::PutCount(std::string_view level, std::string_view before, std::uint64_t count,
                         std::string_view after) noexcept {
    char text[kStampSize + kRepeatedBefore.size() + kLongestNumber + kLinesLost.size() + 1];
    char* to = text;
    const auto append = [&to](std::string_view part) { to += part.copy(to, part.size()); };
    append({m_lastTime.data(), kTimeSize});
    append(level);
    append(before);
    to = std::to_chars(to, to + kLongestNumber, count).ptr;
    append(after);
    append("\n");
    return Put({text, static_cast<std::size_t>(to - text)});
}

bool LogOutput::Put(std::string_view text) noexcept {
    const auto patience = m_stalled ? std::chrono::milliseconds(0) : m_patience;
    if (m_midLine && m_output.Write("\n", patience) == 1) {
        m_midLine = false;
    }
    const std::size_t taken = m_midLine ? 0 : m_output.Write(text, patience);
    m_stalled = taken < text.size();
    m_midLine = m_midLine || (m_stalled && taken > 0);
    return !m_stalled;
}

}  // namespace xalog

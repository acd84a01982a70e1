#include "host/statistics.h"

#include <algorithm>
#include <cmath>

namespace host {

std::optional<double> Percentile(std::vector<double> values, double percent) {
    if (values.empty()) {
        return std::nullopt;
    }
    const double rank = std::ceil(percent / 100.0 * static_cast<double>(values.size()));
    const auto index = static_cast<std::size_t>(std::max(rank, 1.0)) - 1;
    const auto nth =
        values.begin() + static_cast<std::ptrdiff_t>(std::min(index, values.size() - 1));
    std::nth_element(values.begin(), nth, values.end());
    return *nth;
}

void Rate::Count(Clock::time_point when, std::uint64_t amount) {
    if (m_last) {
        m_time += when - *m_last;
        ++m_intervals;
        m_amount += amount;
    }
    m_last = when;
}

std::optional<double> Rate::PerSecond() const {
    const double seconds = std::chrono::duration<double>(m_time).count();
    return seconds > 0 ? std::optional(static_cast<double>(m_intervals) / seconds) : std::nullopt;
}

std::optional<double> Rate::AmountPerSecond() const {
    const double seconds = std::chrono::duration<double>(m_time).count();
    return seconds > 0 ? std::optional(static_cast<double>(m_amount) / seconds) : std::nullopt;
}

void FrameJournal::Arrived(std::uint32_t frameNumber, Clock::time_point when) {
    const std::lock_guard lock(m_mutex);
    // A number that does not rise means that the camera began to count anew.
    if (m_lastNumber && frameNumber > *m_lastNumber) {
        m_counts.missing += frameNumber - *m_lastNumber - 1;
    }
    m_lastNumber = frameNumber;
    m_rate.Count(when);
    ++m_counts.arrived;
    m_waiting.push_back({frameNumber, when});
}

void FrameJournal::Restart() {
    const std::lock_guard lock(m_mutex);
    m_lastNumber.reset();
    m_rate.Pause();
}

std::optional<Clock::duration> FrameJournal::Taken(std::uint32_t frameNumber,
                                                   Clock::time_point when) {
    const std::lock_guard lock(m_mutex);
    const auto found =
        std::find_if(m_waiting.begin(), m_waiting.end(),
                     [&](const Arrival& arrival) { return arrival.frameNumber == frameNumber; });
    if (found == m_waiting.end()) {
        return std::nullopt;
    }
    const Clock::duration elapsed = when - found->when;
    m_counts.discarded += static_cast<std::uint64_t>(found - m_waiting.begin());
    m_waiting.erase(m_waiting.begin(), found + 1);
    return elapsed;
}

FrameJournal::Counts FrameJournal::Count() const {
    const std::lock_guard lock(m_mutex);
    Counts counts = m_counts;
    counts.waiting = m_waiting.size();
    counts.rate = m_rate.PerSecond();
    return counts;
}

}  // namespace host

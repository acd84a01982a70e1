// Figures about the frames of one run.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <vector>

namespace host {

using Clock = std::chrono::steady_clock;

// The value that `percent` of all values do not exceed (nearest rank); nothing of no values.
[[nodiscard]] std::optional<double> Percentile(std::vector<double> values, double percent);

// How often something happens, pauses left out.
class Rate {
  public:
    // `amount`: what came with it, such as bytes.
    void Count(Clock::time_point when, std::uint64_t amount = 0);
    // The time until the next one does not count.
    void Pause() { m_last.reset(); }

    [[nodiscard]] std::optional<double> PerSecond() const;
    [[nodiscard]] std::optional<double> AmountPerSecond() const;

  private:
    std::optional<Clock::time_point> m_last;
    Clock::duration m_time{0};
    std::uint64_t m_intervals = 0;  // n events span n - 1
    std::uint64_t m_amount = 0;
};

// Follows each frame from the module's notice of its arrival to the host that has it, and counts
// the frames that get lost on the way. The notices come on threads of the module.
class FrameJournal {
  public:
    struct Counts {
        std::uint64_t arrived = 0;  // at the module
        std::uint64_t missing = 0;  // gaps in the camera's frame numbers: never reached the module
        std::uint64_t discarded = 0;  // by the module, after they arrived
        std::uint64_t waiting = 0;    // arrived, and not yet taken by the host
        std::optional<double> rate;   // arrivals per second
    };

    void Arrived(std::uint32_t frameNumber, Clock::time_point when);

    // The camera is gone: its next frame numbers have nothing to do with the last.
    void Restart();

    // The host has the frame. Frames come in order, so those that arrived earlier and were not
    // taken have been discarded. The time since its arrival; nothing when no notice was seen.
    std::optional<Clock::duration> Taken(std::uint32_t frameNumber, Clock::time_point when);

    [[nodiscard]] Counts Count() const;

  private:
    struct Arrival {
        std::uint32_t frameNumber;
        Clock::time_point when;
    };

    mutable std::mutex m_mutex;  // guards all below
    std::deque<Arrival> m_waiting;
    std::optional<std::uint32_t> m_lastNumber;
    Rate m_rate;
    Counts m_counts;
};

}  // namespace host

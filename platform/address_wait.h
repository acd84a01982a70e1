// Sleeping on a word in memory; the base of the events in this process.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

namespace platform {

// Sleeps while `word` holds `value`, for `timeout` at most. Comparing and falling asleep are atomic
// with respect to WakeAllOn, so that a change followed by WakeAllOn is never missed. May wake
// spuriously; the caller checks the word again.
void SleepWhileEqual(const std::atomic<std::uint32_t>& word, std::uint32_t value,
                     std::chrono::nanoseconds timeout) noexcept;

void WakeAllOn(const std::atomic<std::uint32_t>& word) noexcept;

}  // namespace platform

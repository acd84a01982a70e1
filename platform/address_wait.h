// Sleeping on a word in memory: what the events of this process are made of.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

namespace platform {

// Sleeps while `word` holds `value`, for `timeout` at most. The comparison and the falling asleep
// are one step towards WakeAllOn, so that a change followed by WakeAllOn is never missed. May
// return early for no reason; the caller looks at the word again.
void SleepWhileEqual(const std::atomic<std::uint32_t>& word, std::uint32_t value,
                     std::chrono::nanoseconds timeout) noexcept;

void WakeAllOn(const std::atomic<std::uint32_t>& word) noexcept;

}  // namespace platform

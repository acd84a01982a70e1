#include "platform/address_wait.h"

#include <windows.h>

#include <algorithm>

namespace platform {

static_assert(sizeof(std::atomic<std::uint32_t>) == sizeof(std::uint32_t));

void SleepWhileEqual(const std::atomic<std::uint32_t>& word, std::uint32_t value,
                     std::chrono::nanoseconds timeout) noexcept {
    // INFINITE is the largest DWORD, so wait for less; the caller waits again.
    constexpr std::chrono::milliseconds kLongest(INFINITE - 1);
    const auto wait = std::min(std::chrono::ceil<std::chrono::milliseconds>(timeout), kLongest);
    auto* address = const_cast<std::atomic<std::uint32_t>*>(&word);
    WaitOnAddress(address, &value, sizeof(value), static_cast<DWORD>(wait.count()));
}

void WakeAllOn(const std::atomic<std::uint32_t>& word) noexcept {
    WakeByAddressAll(const_cast<std::atomic<std::uint32_t>*>(&word));
}

}  // namespace platform

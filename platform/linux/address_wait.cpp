#include "platform/address_wait.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <climits>

namespace platform {

static_assert(sizeof(std::atomic<std::uint32_t>) == sizeof(std::uint32_t));

void SleepWhileEqual(const std::atomic<std::uint32_t>& word, std::uint32_t value,
                     std::chrono::nanoseconds timeout) noexcept {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(timeout);
    timespec relative{};
    relative.tv_sec = static_cast<time_t>(seconds.count());
    relative.tv_nsec = static_cast<long>((timeout - seconds).count());
    syscall(SYS_futex, &word, FUTEX_WAIT_PRIVATE, value, &relative, nullptr, 0);
}

void WakeAllOn(const std::atomic<std::uint32_t>& word) noexcept {
    syscall(SYS_futex, &word, FUTEX_WAKE_PRIVATE, INT_MAX, nullptr, nullptr, 0);
}

}  // namespace platform

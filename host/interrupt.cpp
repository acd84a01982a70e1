#include "host/interrupt.h"

#include <atomic>
#include <csignal>

namespace host {
namespace {

std::atomic<bool> interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free);  // or a signal handler could not use it

extern "C" void OnInterrupt(int signal) {
    interrupted.store(true, std::memory_order_relaxed);
    std::signal(signal, SIG_DFL);
}

}  // namespace

void WatchForInterrupt() {
    std::signal(SIGINT, OnInterrupt);
    std::signal(SIGTERM, OnInterrupt);
}

bool Interrupted() noexcept {
    return interrupted.load(std::memory_order_relaxed);
}

}  // namespace host

#include "camera/set_up_gate.h"

#include <chrono>

namespace cam {

namespace {

// A set-up lasts as long as its SDK calls and the host's handling of its notices. The bound is for
// a host that returns from a notice only when a feature call of another thread has returned.
constexpr std::chrono::seconds kSetUpWait{10};

// How often a set-up that waits for feature calls checks whether it must give way.
constexpr std::chrono::milliseconds kStopLook{2};

}  // namespace

bool SetUpGate::Enter() {
    const LockGuard hold(m_lock);
    m_thread = std::this_thread::get_id();
    if (m_depth++ == 0) {
        while (m_calls > 0) {
            if (m_stopGate.MustGiveWay()) {
                --m_depth;
                m_changed.notify_all();
                return false;
            }
            m_changed.wait_for(m_lock, kStopLook);
        }
    }
    m_count.Set(m_count.Get() + 1);
    return true;
}

void SetUpGate::Leave() {
    const LockGuard hold(m_lock);
    --m_depth;
    m_changed.notify_all();
}

bool SetUpGate::EnterCall() {
    const LockGuard hold(m_lock);
    const auto deadline = std::chrono::steady_clock::now() + kSetUpWait;
    while (OtherSetsUp()) {
        if (m_stopGate.InCallback() ||
            m_changed.wait_until(m_lock, deadline) == std::cv_status::timeout) {
            return false;
        }
    }
    ++m_calls;
    return true;
}

void SetUpGate::LeaveCall() {
    const LockGuard hold(m_lock);
    --m_calls;
    m_changed.notify_all();
}

}  // namespace cam

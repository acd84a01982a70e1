#include "camera/callback_gate.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>

#include "platform/address_wait.h"

namespace cam {

namespace {

// Held for a walk along a short list. Unlike std::mutex and the waits of std::atomic it needs
// neither constructor nor destructor on any system, so a callback during the process's end finds it
// in order.
class StaticLock {
  public:
    void lock() {
        while (m_taken.exchange(kTaken) == kTaken) {
            platform::SleepWhileEqual(m_taken, kTaken, kLook);
        }
    }
    void unlock() {
        m_taken = 0;
        platform::WakeAllOn(m_taken);
    }

  private:
    static constexpr std::uint32_t kTaken = 1;
    // The wake-up ends the wait; this bounds one look.
    static constexpr std::chrono::milliseconds kLook{100};

    std::atomic<std::uint32_t> m_taken{0};
};

constinit StaticLock gatesLock;
constinit CallbackGate* firstOpen = nullptr;  // under gatesLock

// The event ends the wait; this bounds one look.
constexpr std::chrono::milliseconds kLeftLook{100};

}  // namespace

void CallbackGate::Open(const void* module) {
    const std::lock_guard hold(gatesLock);
    if (m_module != nullptr) {
        return;
    }
    static_cast<void>(m_left.Create());
    m_module = module;
    m_nextOpen = firstOpen;
    firstOpen = this;
}

void CallbackGate::CloseAndWait() {
    for (;;) {
        {
            const std::lock_guard hold(gatesLock);
            Unlist();
            if (!OtherInside()) {
                return;
            }
            m_left.Reset();
        }
        m_left.WaitFor(kLeftLook);
    }
}

void CallbackGate::Unlist() {
    if (m_module == nullptr) {
        return;
    }
    CallbackGate** link = &firstOpen;
    while (*link != this) {
        link = &(*link)->m_nextOpen;
    }
    *link = m_nextOpen;
    m_module = nullptr;
}

bool CallbackGate::OtherInside() const {
    for (const Entry* entry = m_inside; entry != nullptr; entry = entry->m_next) {
        if (entry->m_thread != std::this_thread::get_id()) {
            return true;
        }
    }
    return false;
}

CallbackGate::Entry::Entry(const void* module) {
    const std::lock_guard hold(gatesLock);
    for (CallbackGate* gate = firstOpen; gate != nullptr; gate = gate->m_nextOpen) {
        if (gate->m_module == module) {
            m_gate = gate;
            m_next = gate->m_inside;
            gate->m_inside = this;
            return;
        }
    }
}

CallbackGate::Entry::~Entry() {
    if (m_gate == nullptr) {
        return;
    }
    const std::lock_guard hold(gatesLock);
    Entry** link = &m_gate->m_inside;
    while (*link != this) {
        link = &(*link)->m_next;
    }
    *link = m_next;
    // Under the lock: the gate may be gone behind it.
    m_gate->m_left.Set();
}

}  // namespace cam

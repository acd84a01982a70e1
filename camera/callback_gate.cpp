#include "camera/callback_gate.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>

#include "platform/address_wait.h"

namespace cam {

namespace {

// Held while a short list is walked. Unlike std::mutex it needs neither constructor nor destructor
// on any system, so a callback during process exit can still use it.
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
    // The wake-up ends the wait; this bounds a single wait.
    static constexpr std::chrono::milliseconds kLook{100};

    std::atomic<std::uint32_t> m_taken{0};
};

constinit StaticLock gatesLock;
constinit CallbackGate* firstOpen = nullptr;  // under gatesLock

// Removes `item` from the list that begins at `link`, if it is there.
template <typename Item>
void Unlink(Item** link, Item* item, Item* Item::*next) {
    while (*link != nullptr && *link != item) {
        link = &((*link)->*next);
    }
    if (*link != nullptr) {
        *link = item->*next;
    }
}

}  // namespace

void CallbackGate::Open(const void* module) {
    const std::lock_guard hold(gatesLock);
    if (m_module == nullptr) {
        m_module = module;
        m_nextOpen = firstOpen;
        firstOpen = this;
    }
}

void CallbackGate::CloseAndWait() {
    std::unique_lock hold(gatesLock);
    Unlink(&firstOpen, this, &CallbackGate::m_nextOpen);
    m_module = nullptr;
    m_left.wait(hold, [this] { return !OtherInside(); });
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
    Unlink(&m_gate->m_inside, this, &Entry::m_next);
    // Under the lock: the gate may be destroyed once it is released.
    m_gate->m_left.notify_all();
}

}  // namespace cam

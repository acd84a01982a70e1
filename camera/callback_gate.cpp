#include "camera/callback_gate.h"

#include <mutex>
#include <type_traits>

namespace cam {

namespace {

// Without a constructor or destructor that runs, so that a callback finds it in order even while
// the process ends.
constinit std::mutex gatesLock;
static_assert(std::is_trivially_destructible_v<std::mutex>);
constinit CallbackGate* firstOpen = nullptr;  // under gatesLock

// Takes `item` out of the list that begins at `link`; nothing happens when it is not in it.
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
    // Under the lock: the gate may be gone behind it.
    m_gate->m_left.notify_all();
}

}  // namespace cam

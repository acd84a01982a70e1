// One replaceable callback with a firm promise: once it has been replaced, nobody runs it any more.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

namespace standins {

// Holds a copy of `Callback` (a function pointer, or a struct of them with their user data). It is
// run with no lock held, by any number of threads at once, and may itself replace the callback.
template <typename Callback>
class CallbackSlot {
  public:
    CallbackSlot() = default;
    CallbackSlot(const CallbackSlot&) = delete;
    CallbackSlot& operator=(const CallbackSlot&) = delete;

    // Returns when no other thread is inside an earlier callback. A caller that stands inside one
    // itself does not wait for its own calls, nor for other callbacks that wait here like itself:
    // of two callbacks that replace each other at the same time, neither could ever return.
    void Replace(const Callback& callback) {
        std::unique_lock lock(m_mutex);
        m_callback = callback;
        const std::uint64_t generation = ++m_generation;
        const bool inside = MarkWaiting(+1);
        if (inside) {
            m_changed.notify_all();
        }
        m_changed.wait(lock, [&] { return !OthersInsideBefore(generation, inside); });
        MarkWaiting(-1);
    }

    // Runs `use(callback)` with a copy of the present callback.
    template <typename Use>
    auto Run(Use&& use) {
        Call call;
        const Entry entry(*this, call);
        return use(entry.Current());
    }

  private:
    // Lives on the stack of the thread that runs the callback, so that a call allocates nothing.
    struct Call {
        std::thread::id thread;
        std::uint64_t generation = 0;
        int waiting = 0;  // its thread is in Replace, that many levels deep
        Call* previous = nullptr;
        Call* next = nullptr;
    };

    class Entry {
      public:
        Entry(CallbackSlot& slot, Call& call) : m_slot(slot), m_call(call) {
            const std::lock_guard lock(m_slot.m_mutex);
            m_callback = m_slot.m_callback;
            m_call.thread = std::this_thread::get_id();
            m_call.generation = m_slot.m_generation;
            m_call.next = m_slot.m_calls;
            if (m_call.next != nullptr) {
                m_call.next->previous = &m_call;
            }
            m_slot.m_calls = &m_call;
        }
        ~Entry() {
            const std::lock_guard lock(m_slot.m_mutex);
            (m_call.previous != nullptr ? m_call.previous->next : m_slot.m_calls) = m_call.next;
            if (m_call.next != nullptr) {
                m_call.next->previous = m_call.previous;
            }
            if (m_call.generation != m_slot.m_generation) {
                m_slot.m_changed.notify_all();
            }
        }
        Entry(const Entry&) = delete;
        Entry& operator=(const Entry&) = delete;

        [[nodiscard]] const Callback& Current() const { return m_callback; }

      private:
        CallbackSlot& m_slot;
        Call& m_call;
        Callback m_callback{};
    };

    // True when this thread is inside a callback.
    bool MarkWaiting(int change) {
        bool inside = false;
        for (Call* call = m_calls; call != nullptr; call = call->next) {
            if (call->thread == std::this_thread::get_id()) {
                call->waiting += change;
                inside = true;
            }
        }
        return inside;
    }

    [[nodiscard]] bool OthersInsideBefore(std::uint64_t generation, bool inside) const {
        for (const Call* call = m_calls; call != nullptr; call = call->next) {
            if (call->generation < generation && call->thread != std::this_thread::get_id() &&
                !(inside && call->waiting > 0)) {
                return true;
            }
        }
        return false;
    }

    std::mutex m_mutex;  // guards all below; never held while a callback runs
    std::condition_variable m_changed;
    Callback m_callback{};
    std::uint64_t m_generation = 0;
    Call* m_calls = nullptr;
};

}  // namespace standins

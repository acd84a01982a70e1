// One replaceable callback: once it has been replaced, no thread runs the old one any more.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

namespace standins {

// Holds a copy of `Callback` (a function pointer, or a struct of them with their user data). It
// runs with no lock held, on any number of threads at once, and may itself replace the callback.
template <typename Callback>
class CallbackSlot {
  public:
    CallbackSlot() = default;
    CallbackSlot(const CallbackSlot&) = delete;
    CallbackSlot& operator=(const CallbackSlot&) = delete;

    // Returns when no other thread is inside an earlier callback. A caller inside a callback does
    // not wait for its own calls, nor for other callbacks that wait here: two callbacks that
    // replace each other at the same time would never return.
    void Replace(const Callback& callback) {
        std::unique_lock lock(m_mutex);
        m_callback = callback;
        const std::uint64_t generation = ++m_generation;
        const bool inside = MarkOwnCalls(true);
        if (inside) {
            m_changed.notify_all();
        }
        m_changed.wait(lock, [&] { return !AnyInsideBefore(generation, inside); });
        MarkOwnCalls(false);
    }

    // Runs `use(callback)` with a copy of the current callback.
    template <typename Use>
    auto Run(Use&& use) {
        Call call(*this);
        return use(call.callback);
    }

  private:
    // One run in progress: on the stack of its thread, so that it allocates nothing, and in the
    // slot's list until it ends.
    struct Call {
        explicit Call(CallbackSlot& in) : slot(in) {
            const std::lock_guard lock(slot.m_mutex);
            callback = slot.m_callback;
            generation = slot.m_generation;
            next = slot.m_calls;
            if (next != nullptr) {
                next->previous = this;
            }
            slot.m_calls = this;
        }
        ~Call() {
            const std::lock_guard lock(slot.m_mutex);
            (previous != nullptr ? previous->next : slot.m_calls) = next;
            if (next != nullptr) {
                next->previous = previous;
            }
            if (generation != slot.m_generation) {
                slot.m_changed.notify_all();
            }
        }
        Call(const Call&) = delete;
        Call& operator=(const Call&) = delete;

        CallbackSlot& slot;
        Callback callback{};
        std::uint64_t generation = 0;
        std::thread::id thread = std::this_thread::get_id();
        bool waiting = false;  // its thread is in Replace
        Call* previous = nullptr;
        Call* next = nullptr;
    };

    // True when this thread is inside a callback.
    bool MarkOwnCalls(bool waiting) {
        bool inside = false;
        for (Call* call = m_calls; call != nullptr; call = call->next) {
            if (call->thread == std::this_thread::get_id()) {
                call->waiting = waiting;
                inside = true;
            }
        }
        return inside;
    }

    // If the caller is inside a callback, calls marked as waiting, such as its own, do not count.
    [[nodiscard]] bool AnyInsideBefore(std::uint64_t generation, bool callerInside) const {
        for (const Call* call = m_calls; call != nullptr; call = call->next) {
            const bool excused = callerInside && call->waiting;
            if (call->generation < generation && !excused) {
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

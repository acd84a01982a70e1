// Tracks who stops the camera, and which threads are the SDK's.
//
// The SDK's stop, close and destroy calls wait for its callbacks in progress, and the callbacks
// need the module's locks: for pixel conversion, and for calls by the host from inside a notice.
// Every such call therefore announces itself, and a thread of the SDK does not wait for an
// announced one: it gives way.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <thread>

#include "base/lock.h"
#include "base/relaxed.h"

namespace cam {

class StopGate {
  public:
    StopGate() = default;
    StopGate(const StopGate&) = delete;
    StopGate& operator=(const StopGate&) = delete;

    // Announces a stop, close or destroy call of the SDK for as long as it lives.
    class Stop {
      public:
        explicit Stop(StopGate& gate) : m_gate(gate) { ++m_gate.m_stops; }
        ~Stop() { --m_gate.m_stops; }
        Stop(const Stop&) = delete;
        Stop& operator=(const Stop&) = delete;

      private:
        StopGate& m_gate;
    };
    [[nodiscard]] bool StopUnderWay() const { return m_stops.load() > 0; }

    // What an SDK callback was called for.
    enum class Source : std::uint8_t { Frame, Event, Exception };

    // The stay of one thread of the SDK in the module.
    class Callback {
      public:
        Callback(StopGate& gate, Source source);
        ~Callback() { m_place->thread.store({}, std::memory_order_release); }
        Callback(const Callback&) = delete;
        Callback& operator=(const Callback&) = delete;

        // Whether this is a frame, and no other one is in the module. The SDK is to deliver one at
        // a time.
        [[nodiscard]] bool OnlyFrame() const { return m_place == &m_gate.m_callbacks.front(); }

      private:
        friend class StopGate;
        struct Place {
            std::atomic<std::thread::id> thread{};
            std::atomic<Source> source{};  // read by this thread only
        };
        StopGate& m_gate;
        Place* m_place = nullptr;
    };
    [[nodiscard]] bool InCallback() const { return PlaceOfThisThread() != nullptr; }

    // True on a thread of the SDK once a stop is announced.
    [[nodiscard]] bool MustGiveWay() const { return InCallback() && StopUnderWay(); }

    // False on a thread that the SDK's stop would wait for: a frame or event thread. Then nothing
    // may be stopped, closed or opened; the second form logs so under the name `function`. The
    // exception thread may, because the SDK allows a lost camera's handle to be destroyed there.
    [[nodiscard]] bool MayStop() const;
    [[nodiscard]] bool MayStop(std::int32_t moduleId, const char* function) const;

    // Takes a lock whose holder may stop the camera. A thread of the SDK gives up (false) once a
    // stop is announced; every other thread waits for the lock.
    [[nodiscard]] bool Acquire(ReentrantLock& lock) const TRY_ACQUIRE(true, lock);
    class SCOPED_CAPABILITY Guard {
      public:
        Guard(const StopGate& gate, ReentrantLock& lock) ACQUIRE(lock) NO_THREAD_SAFETY_ANALYSIS
            : m_lock(lock),
              m_held(gate.Acquire(lock)) {}
        ~Guard() RELEASE() NO_THREAD_SAFETY_ANALYSIS {
            if (m_held) {
                m_lock.unlock();
            }
        }
        Guard(const Guard&) = delete;
        Guard& operator=(const Guard&) = delete;

        [[nodiscard]] explicit operator bool() const { return m_held; }

      private:
        ReentrantLock& m_lock;
        const bool m_held;
    };

    // Records, while it exists, that this thread holds the connection lock.
    class ConnectionHeld {
      public:
        explicit ConnectionHeld(StopGate& gate)
            : m_gate(gate), m_before(gate.m_connectionHolder.Get()) {
            m_gate.m_connectionHolder.Set(std::this_thread::get_id());
        }
        ~ConnectionHeld() { m_gate.m_connectionHolder.Set(m_before); }
        ConnectionHeld(const ConnectionHeld&) = delete;
        ConnectionHeld& operator=(const ConnectionHeld&) = delete;

      private:
        StopGate& m_gate;
        const std::thread::id m_before;
    };
    [[nodiscard]] bool HoldsConnection() const {
        return m_connectionHolder.Get() == std::this_thread::get_id();
    }

    // True on a thread that other threads of the module may be waiting for: it must not wait for
    // them to end.
    [[nodiscard]] bool OthersMayWait() const { return HoldsConnection() || InCallback(); }

  private:
    // At most three callbacks of one camera run at once; those of a lost camera may overlap the
    // next one's.
    static constexpr std::size_t kMostCallbacks = 8;

    [[nodiscard]] const Callback::Place* PlaceOfThisThread() const;
    std::atomic<int> m_stops{0};
    std::array<Callback::Place, kMostCallbacks> m_callbacks;  // the first one for a frame only
    Relaxed<std::thread::id> m_connectionHolder{{}};
};

}  // namespace cam

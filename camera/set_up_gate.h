// Keeps feature calls of other threads out of a camera's set-up, which would undo what they write.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <thread>

#include "base/lock.h"
#include "base/relaxed.h"
#include "camera/stop_gate.h"

namespace cam {

// A gate and not a lock, because notices are sent to the host during a set-up: the thread that sets
// up passes, and a thread of the SDK, which the set-up may wait for, gives way.
class SetUpGate {
  public:
    explicit SetUpGate(const StopGate& stopGate) : m_stopGate(stopGate) {}
    SetUpGate(const SetUpGate&) = delete;
    SetUpGate& operator=(const SetUpGate&) = delete;

    // One set-up, from before the open to the end of the replay; may nest on one thread. The caller
    // holds the connection lock, so no other thread sets up at the same time. Waits for
    // feature calls in progress, which are SDK calls. False: nothing may be set up, because this is
    // a thread of the SDK, and one of those calls stops the camera, which may wait for this thread.
    class SetUp {
      public:
        explicit SetUp(SetUpGate& gate) : m_gate(gate), m_entered(gate.Enter()) {}
        ~SetUp() {
            if (m_entered) {
                m_gate.Leave();
            }
        }
        SetUp(const SetUp&) = delete;
        SetUp& operator=(const SetUp&) = delete;

        [[nodiscard]] explicit operator bool() const { return m_entered; }

      private:
        SetUpGate& m_gate;
        const bool m_entered;
    };

    // One feature read or write. False: the call must not be made, because this is a thread of the
    // SDK while another one sets up, or the set-up did not end in time.
    class FeatureCall {
      public:
        explicit FeatureCall(SetUpGate& gate) : m_gate(gate), m_entered(gate.EnterCall()) {}
        ~FeatureCall() {
            if (m_entered) {
                m_gate.LeaveCall();
            }
        }
        FeatureCall(const FeatureCall&) = delete;
        FeatureCall& operator=(const FeatureCall&) = delete;

        [[nodiscard]] explicit operator bool() const { return m_entered; }

      private:
        SetUpGate& m_gate;
        const bool m_entered;
    };

    // Identifies the set-up.
    [[nodiscard]] std::uint32_t Count() const { return m_count.Get(); }

  private:
    [[nodiscard]] bool Enter() EXCLUDES(m_lock);
    void Leave() EXCLUDES(m_lock);
    [[nodiscard]] bool EnterCall() EXCLUDES(m_lock);
    void LeaveCall() EXCLUDES(m_lock);
    [[nodiscard]] bool OtherSetsUp() const REQUIRES(m_lock) {
        return m_depth > 0 && m_thread != std::this_thread::get_id();
    }

    const StopGate& m_stopGate;
    Lock m_lock{LockRank::Leaf, "set-up"};
    std::condition_variable_any m_changed;
    std::thread::id m_thread GUARDED_BY(m_lock);  // the one that sets up
    int m_depth GUARDED_BY(m_lock) = 0;
    int m_calls GUARDED_BY(m_lock) = 0;
    Relaxed<std::uint32_t> m_count{0};
};

}  // namespace cam

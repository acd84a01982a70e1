// One thread of the module, started and stopped repeatedly, possibly by several threads at once.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <thread>

#include "base/lock.h"
#include "base/relaxed.h"
#include "platform/event.h"

namespace cam {

// The thread is created at the first start and then kept: between runs of its body it sleeps. So a
// start after a stop, or from inside the body, needs no new thread and no join.
class WorkerThread {
  public:
    // `body` runs on the thread, leaves soon after StopRequested() and does not throw. A stop sets
    // `pause`, if given, to end the body's waits on it early.
    explicit WorkerThread(std::function<void()> body, platform::Event* pause = nullptr);
    ~WorkerThread();
    WorkerThread(const WorkerThread&) = delete;
    WorkerThread& operator=(const WorkerThread&) = delete;

    // Runs the body unless it is running; a body that was asked to stop runs again once it has
    // ended. Never waits, so the caller may hold any lock. False: the system could not create a
    // thread.
    [[nodiscard]] bool Start() EXCLUDES(m_lock);

    // Asks the body to end without waiting for it; the caller may hold any lock.
    void RequestStop() EXCLUDES(m_lock);

    // Asks the body to end and waits until it has, for as long as `goOn` returns true. On the
    // thread itself it only sets the request. The caller holds no lock that the body takes. True
    // when the body ran and has ended.
    bool Stop(const std::function<bool()>& goOn = {}) EXCLUDES(m_lock);

    // Stops; no start takes effect until Allow.
    bool End() EXCLUDES(m_lock);
    void Allow() EXCLUDES(m_lock);

    // Whether the body runs, or is about to, and has not been asked to end.
    [[nodiscard]] bool Running() const EXCLUDES(m_lock);
    [[nodiscard]] bool StopRequested() const { return m_stop.Get(); }

  private:
    void RequestStopLocked() REQUIRES(m_lock);
    void Run() EXCLUDES(m_lock);
    // False: the thread must end.
    [[nodiscard]] bool WaitForStart() EXCLUDES(m_lock);

    const std::function<void()> m_body;
    platform::Event* const m_pause;

    mutable Lock m_lock{LockRank::Leaf, "worker thread"};
    std::condition_variable_any m_changed;
    std::thread m_thread GUARDED_BY(m_lock);
    bool m_allowed GUARDED_BY(m_lock) = true;
    bool m_quit GUARDED_BY(m_lock) = false;
    bool m_started GUARDED_BY(m_lock) = false;  // a start that the thread has not acted on
    bool m_running GUARDED_BY(m_lock) = false;
    std::uint64_t m_runs GUARDED_BY(m_lock) = 0;  // counts the runs
    Relaxed<bool> m_stop{false};
};

}  // namespace cam

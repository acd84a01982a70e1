// One thread of the module that is started, stopped and started again while several others may ask
// for either.
#pragma once

#include <functional>
#include <thread>

#include "module/shared_values.h"
#include "platform/event.h"
#include "platform/lock.h"

namespace cam {

class WorkerThread {
  public:
    // `body` runs on the thread, leaves soon after StopRequested() and does not throw. Stop sets
    // `pause`, where given, to cut the body's waits on it short.
    explicit WorkerThread(std::function<void()> body, platform::Event* pause = nullptr);
    ~WorkerThread();
    WorkerThread(const WorkerThread&) = delete;
    WorkerThread& operator=(const WorkerThread&) = delete;

    // Starts the thread unless it runs or Forbid was called; one that was asked to stop goes on, or
    // is followed by another. A thread that ended by itself is joined by its successor, so the
    // caller may hold any lock. False: the system has no thread left.
    [[nodiscard]] bool Start() EXCLUDES(m_lock);

    // Asks the thread to end without waiting for it, whatever locks the caller holds.
    void RequestStop() EXCLUDES(m_lock);

    // Ends and joins the thread; returns when none is left, whoever joined it. On the thread itself
    // only the request is left: it ends when its present work does. The caller holds no lock that
    // the body takes. True when this call joined it.
    bool Stop() EXCLUDES(m_lock);

    // From Forbid to Allow, Start does nothing: the module is shutting down.
    void Forbid() EXCLUDES(m_lock);
    void Allow() EXCLUDES(m_lock);

    [[nodiscard]] bool Running() const EXCLUDES(m_lock);
    [[nodiscard]] bool StopRequested() const { return m_stop.Get(); }

  private:
    [[nodiscard]] bool StartLocked() REQUIRES(m_lock);
    void Run() EXCLUDES(m_lock);
    [[nodiscard]] bool GoesOn() EXCLUDES(m_lock);
    void WaitForOtherJoiner() EXCLUDES(m_lock);

    const std::function<void()> m_body;
    platform::Event* const m_pause;

    mutable platform::RecursiveLock m_lock;  // taken last and never held across a join
    std::thread m_thread GUARDED_BY(m_lock);
    std::thread m_predecessor GUARDED_BY(m_lock);   // ended; for m_thread to join
    std::thread::id m_threadId GUARDED_BY(m_lock);  // survives while a stopper joins m_thread
    bool m_running GUARDED_BY(m_lock) = false;
    bool m_joining GUARDED_BY(m_lock) = false;
    // A start that came while the thread was on its way out.
    bool m_startAgain GUARDED_BY(m_lock) = false;
    bool m_forbidden GUARDED_BY(m_lock) = false;

    Setting<bool> m_stop{false};
    platform::Event m_joined;  // set while nobody joins
};

}  // namespace cam

#include "base/worker_thread.h"

#include <chrono>
#include <utility>

namespace cam {

namespace {

// How often a stop checks whether it may still wait.
constexpr std::chrono::milliseconds kStopLook{2};

}  // namespace

WorkerThread::WorkerThread(std::function<void()> body, platform::Event* pause)
    : m_body(std::move(body)), m_pause(pause) {}

WorkerThread::~WorkerThread() {
    End();
    std::thread ending;
    {
        const LockGuard hold(m_lock);
        m_quit = true;
        ending = std::move(m_thread);
    }
    m_changed.notify_all();
    if (ending.joinable()) {
        ending.join();
    }
}

bool WorkerThread::Start() {
    const LockGuard hold(m_lock);
    if (!m_allowed || (m_running && !m_stop.Get())) {
        return true;
    }
    if (!m_thread.joinable()) {
        try {
            m_thread = std::thread(&WorkerThread::Run, this);
        } catch (...) {
            return false;
        }
    }
    m_started = true;
    m_changed.notify_all();
    return true;
}

void WorkerThread::Run() {
    while (WaitForStart()) {
        m_body();
        const LockGuard hold(m_lock);
        m_running = false;
        m_changed.notify_all();
    }
}

bool WorkerThread::WaitForStart() {
    const LockGuard hold(m_lock);
    while (!m_started && !m_quit) {
        m_changed.wait(m_lock);
    }
    if (m_quit) {
        return false;
    }
    m_started = false;
    m_stop.Set(false);
    m_running = true;
    ++m_runs;
    return true;
}

void WorkerThread::RequestStop() {
    const LockGuard hold(m_lock);
    RequestStopLocked();
}

void WorkerThread::RequestStopLocked() {
    m_started = false;
    m_stop.Set(true);
    if (m_pause != nullptr) {
        m_pause->Set();
    }
}

bool WorkerThread::Stop(const std::function<bool()>& goOn) {
    const LockGuard hold(m_lock);
    const bool ran = m_running || m_started;
    const std::uint64_t run = m_runs;
    RequestStopLocked();
    if (m_thread.get_id() == std::this_thread::get_id()) {
        return false;
    }
    while (m_running && m_runs == run) {
        if (!goOn) {
            m_changed.wait(m_lock);
        } else if (!goOn()) {
            return false;
        } else {
            m_changed.wait_for(m_lock, kStopLook);
        }
    }
    return ran;
}

bool WorkerThread::End() {
    {
        const LockGuard hold(m_lock);
        m_allowed = false;
    }
    return Stop();
}

void WorkerThread::Allow() {
    const LockGuard hold(m_lock);
    m_allowed = true;
}

bool WorkerThread::Running() const {
    const LockGuard hold(m_lock);
    return m_started || (m_running && !m_stop.Get());
}

}  // namespace cam

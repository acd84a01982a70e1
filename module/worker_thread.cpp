#include "module/worker_thread.h"

#include <chrono>
#include <system_error>
#include <utility>

namespace cam {

namespace {

// How often a second stopper looks whether the first has joined; the event ends the wait.
constexpr std::chrono::milliseconds kJoinedLook{100};

}  // namespace

WorkerThread::WorkerThread(std::function<void()> body, platform::Event* pause)
    : m_body(std::move(body)), m_pause(pause) {
    static_cast<void>(m_joined.Create());
}

WorkerThread::~WorkerThread() {
    Forbid();
    Stop();
}

bool WorkerThread::Start() {
    const platform::LockGuard hold(m_lock);
    if (m_forbidden) {
        return true;
    }
    if (m_joining || (m_running && m_stop.Get())) {
        m_startAgain = true;
        return true;
    }
    return m_running || StartLocked();
}

bool WorkerThread::StartLocked() {
    m_stop.Set(false);
    m_predecessor = std::move(m_thread);
    try {
        m_thread = std::thread(&WorkerThread::Run, this);
    } catch (const std::system_error&) {
        m_thread = std::move(m_predecessor);
        return false;
    }
    m_threadId = m_thread.get_id();
    m_running = true;
    return true;
}

void WorkerThread::Run() {
    std::thread predecessor;
    {
        const platform::LockGuard hold(m_lock);
        predecessor = std::move(m_predecessor);
    }
    if (predecessor.joinable()) {
        predecessor.join();
    }
    do {
        m_body();
    } while (GoesOn());
}

bool WorkerThread::GoesOn() {
    const platform::LockGuard hold(m_lock);
    if (m_startAgain && !m_joining && !m_forbidden) {
        m_startAgain = false;
        m_stop.Set(false);
        return true;
    }
    m_running = false;
    return false;
}

void WorkerThread::RequestStop() {
    const platform::LockGuard hold(m_lock);
    m_startAgain = false;
    m_stop.Set(true);
}

bool WorkerThread::Stop() {
    std::thread ending;
    {
        const platform::LockGuard hold(m_lock);
        m_startAgain = false;
        if (m_threadId == std::this_thread::get_id()) {
            m_stop.Set(true);
            return false;
        }
        if (m_thread.joinable()) {
            m_stop.Set(true);
            m_joining = true;
            m_joined.Reset();
            ending = std::move(m_thread);
        }
    }
    if (!ending.joinable()) {
        WaitForOtherJoiner();
        return false;
    }
    if (m_pause != nullptr) {
        m_pause->Set();
    }
    ending.join();
    const platform::LockGuard hold(m_lock);
    m_threadId = {};
    m_joining = false;
    m_stop.Set(false);
    if (std::exchange(m_startAgain, false) && !m_forbidden) {
        static_cast<void>(StartLocked());
    }
    m_joined.Set();
    return true;
}

void WorkerThread::WaitForOtherJoiner() {
    for (;;) {
        {
            const platform::LockGuard hold(m_lock);
            if (!m_joining) {
                return;
            }
        }
        m_joined.WaitFor(kJoinedLook);
    }
}

void WorkerThread::Forbid() {
    const platform::LockGuard hold(m_lock);
    m_forbidden = true;
    m_startAgain = false;
}

void WorkerThread::Allow() {
    const platform::LockGuard hold(m_lock);
    m_forbidden = false;
}

bool WorkerThread::Running() const {
    const platform::LockGuard hold(m_lock);
    return m_startAgain || (m_running && !m_stop.Get());
}

}  // namespace cam

// The module's lock: re-entrant, because the host may call back into the module on the same
// thread, and annotated, so that the compiler checks what each lock guards.
#pragma once

#include <atomic>
#include <mutex>
#include <thread>

#include "platform/thread_annotations.h"

namespace platform {

class CAPABILITY("mutex") RecursiveLock {
  public:
    RecursiveLock() = default;
    RecursiveLock(const RecursiveLock&) = delete;
    RecursiveLock& operator=(const RecursiveLock&) = delete;

    void lock() ACQUIRE() {
        m_mutex.lock();
        Entered();
    }

    [[nodiscard]] bool try_lock() TRY_ACQUIRE(true) {
        if (!m_mutex.try_lock()) {
            return false;
        }
        Entered();
        return true;
    }

    void unlock() RELEASE() {
        if (--m_depth == 0) {
            m_owner.store(std::thread::id{}, std::memory_order_relaxed);
        }
        m_mutex.unlock();
    }

    // True only on the thread that holds the lock; for decisions that must not wait for a thread
    // which in turn waits for this lock.
    [[nodiscard]] bool HeldByThisThread() const {
        return m_owner.load(std::memory_order_relaxed) == std::this_thread::get_id();
    }

  private:
    void Entered() {
        if (m_depth++ == 0) {
            m_owner.store(std::this_thread::get_id(), std::memory_order_relaxed);
        }
    }

    std::recursive_mutex m_mutex;
    int m_depth = 0;  // touched only by the owner
    std::atomic<std::thread::id> m_owner{};
};

class SCOPED_CAPABILITY LockGuard {
  public:
    explicit LockGuard(RecursiveLock& lock) ACQUIRE(lock) : m_lock(lock) { m_lock.lock(); }
    // Of a lock that was taken already.
    LockGuard(RecursiveLock& lock, std::adopt_lock_t) REQUIRES(lock) : m_lock(lock) {}
    ~LockGuard() RELEASE() { m_lock.unlock(); }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;

  private:
    RecursiveLock& m_lock;
};

}  // namespace platform

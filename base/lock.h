// The module's lock. Re-entrant, because the host may call back into the module on the same thread
// from inside any framework function; annotated, so that the compiler checks what each lock guards;
// ranked, so that every test run checks the order in which locks are taken.
#pragma once

#include <mutex>

#include "base/lock_order.h"
#include "base/thread_annotations.h"

namespace cam {

class CAPABILITY("mutex") Lock {
  public:
    // `name` is a literal, printed when the lock is taken against the order.
    Lock(LockRank rank, const char* name) : m_rank(rank), m_name(name) {}
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

    void lock() ACQUIRE() {
        lock_order::BeforeWait({this, m_rank, m_name});
        m_mutex.lock();
        lock_order::Taken({this, m_rank, m_name});
    }

    // Never waits, so it may go against the order.
    [[nodiscard]] bool try_lock() TRY_ACQUIRE(true) {
        if (!m_mutex.try_lock()) {
            return false;
        }
        lock_order::Taken({this, m_rank, m_name});
        return true;
    }

    void unlock() RELEASE() {
        lock_order::Released(this);
        m_mutex.unlock();
    }

  private:
    std::recursive_mutex m_mutex;
    const LockRank m_rank;
    const char* const m_name;
};

class SCOPED_CAPABILITY LockGuard {
  public:
    explicit LockGuard(Lock& lock) ACQUIRE(lock) : m_lock(lock) { m_lock.lock(); }
    ~LockGuard() RELEASE() { m_lock.unlock(); }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;

  private:
    Lock& m_lock;
};

}  // namespace cam

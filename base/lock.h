// The module's locks: annotated, so that the compiler checks what each one guards; ranked, so that
// every test run checks the order in which they are taken.
#pragma once

#include <mutex>
#include <type_traits>

#include "base/lock_order.h"
#include "base/thread_annotations.h"

namespace cam {

template <typename Mutex>
class CAPABILITY("mutex") RankedLock {
  public:
    // `name` is a literal, printed when the lock is taken against the order.
    RankedLock(LockRank rank, const char* name) : m_rank(rank), m_name(name) {}
    RankedLock(const RankedLock&) = delete;
    RankedLock& operator=(const RankedLock&) = delete;

    void lock() ACQUIRE() {
        lock_order::BeforeWait(Identity());
        m_mutex.lock();
        lock_order::Taken(Identity());
    }

    // For a caller that tries before it waits.
    void CheckOrder() const { lock_order::BeforeWait(Identity()); }

    // Never waits, so it may go against the order.
    [[nodiscard]] bool try_lock() TRY_ACQUIRE(true) {
        if (!m_mutex.try_lock()) {
            return false;
        }
        lock_order::Taken(Identity());
        return true;
    }

    void unlock() RELEASE() {
        lock_order::Released(this);
        m_mutex.unlock();
    }

  private:
    [[nodiscard]] lock_order::HeldLock Identity() const {
        return {this, m_rank, m_name, std::is_same_v<Mutex, std::recursive_mutex>};
    }

    Mutex m_mutex;
    const LockRank m_rank;
    const char* const m_name;
};

// For a short look at what it guards: nothing that could come back to it is called under it.
using Lock = RankedLock<std::mutex>;

// For whole sequences: the host may call back into the module on the same thread from inside any
// framework function, and operations that hold such a lock are built of each other.
using ReentrantLock = RankedLock<std::recursive_mutex>;

template <typename AnyLock>
class SCOPED_CAPABILITY LockGuard {
  public:
    explicit LockGuard(AnyLock& lock) ACQUIRE(lock) : m_lock(lock) { m_lock.lock(); }
    ~LockGuard() RELEASE() { m_lock.unlock(); }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;

  private:
    AnyLock& m_lock;
};

}  // namespace cam

// A plain value that one thread sets while others read it and that orders nothing else: a relaxed
// atomic.
#pragma once

#include <atomic>

namespace cam {

template <typename T>
class Relaxed {
    static_assert(std::atomic<T>::is_always_lock_free);

  public:
    explicit constexpr Relaxed(T value) : m_value(value) {}

    [[nodiscard]] T Get() const { return m_value.load(std::memory_order_relaxed); }
    void Set(T value) { m_value.store(value, std::memory_order_relaxed); }

  private:
    std::atomic<T> m_value;
};

}  // namespace cam

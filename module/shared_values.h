// Values that one thread sets while others read them: numbers as relaxed atomics, texts behind a
// lock of their own that is held for a copy and never while taking another.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstring>
#include <mutex>
#include <string_view>

namespace cam {

template <typename T>
class Setting {
    static_assert(std::atomic<T>::is_always_lock_free);

  public:
    explicit constexpr Setting(T value) : m_value(value) {}

    [[nodiscard]] T Get() const { return m_value.load(std::memory_order_relaxed); }
    void Set(T value) { m_value.store(value, std::memory_order_relaxed); }

  private:
    std::atomic<T> m_value;
};

// A NUL-ended text in a buffer of its own; what does not fit is cut.
template <std::size_t Size>
class FixedText {
  public:
    FixedText() = default;
    explicit FixedText(std::string_view text) { Assign(text); }

    void Assign(std::string_view text) {
        const std::size_t length = std::min(text.size(), Size - 1);
        std::memcpy(m_text, text.data(), length);
        std::memset(m_text + length, 0, Size - length);
    }

    [[nodiscard]] const char* c_str() const { return m_text; }
    [[nodiscard]] std::string_view view() const { return m_text; }
    [[nodiscard]] bool empty() const { return m_text[0] == '\0'; }
    [[nodiscard]] bool StartsWith(std::string_view prefix) const {
        return view().starts_with(prefix);
    }

  private:
    char m_text[Size] = {};
};

template <std::size_t Size>
class SharedText {
  public:
    [[nodiscard]] FixedText<Size> Get() const {
        const std::lock_guard hold(m_lock);
        return m_text;
    }
    void Set(std::string_view text) {
        const std::lock_guard hold(m_lock);
        m_text.Assign(text);
    }
    [[nodiscard]] bool Empty() const {
        const std::lock_guard hold(m_lock);
        return m_text.empty();
    }

  private:
    mutable std::mutex m_lock;
    FixedText<Size> m_text;  // under m_lock; std::mutex carries no annotation
};

// The text of a fixed field that its writer may have left without a terminator.
template <std::size_t Size>
[[nodiscard]] std::string_view FieldText(const char (&field)[Size]) {
    return {field, static_cast<std::size_t>(std::find(field, field + Size, '\0') - field)};
}

}  // namespace cam

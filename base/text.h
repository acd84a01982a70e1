// Texts in fixed buffers, and parsing of texts. Parsing does not depend on the host's locale.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "base/lock.h"

namespace cam {

// A NUL-terminated text in its own buffer; excess is cut.
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

// A text that one thread sets while others read it; its lock is held only for a copy.
template <std::size_t Size>
class SharedText {
  public:
    [[nodiscard]] FixedText<Size> Get() const {
        const LockGuard hold(m_lock);
        return m_text;
    }
    void Set(std::string_view text) {
        const LockGuard hold(m_lock);
        m_text.Assign(text);
    }

  private:
    mutable Lock m_lock{LockRank::Leaf, "text"};
    FixedText<Size> m_text GUARDED_BY(m_lock);
};

// A text that one thread sets, to one of few values, while others read it all the time. Every value
// is kept, so a reader needs neither lock nor copy.
class InternedText {
  public:
    // Valid as long as this object.
    [[nodiscard]] const std::string& Get() const {
        return *m_current.load(std::memory_order_acquire);
    }
    // Out of memory: empty.
    void Set(std::string_view text) noexcept;

  private:
    const std::string m_empty;
    Lock m_lock{LockRank::Leaf, "interned text"};
    std::set<std::string> m_values GUARDED_BY(m_lock);
    std::atomic<const std::string*> m_current{&m_empty};
};

// The text of a fixed field that its writer may have left without a terminator.
template <std::size_t Size>
[[nodiscard]] std::string_view FieldText(const char (&field)[Size]) {
    return {field, static_cast<std::size_t>(std::find(field, field + Size, '\0') - field)};
}

inline constexpr std::string_view kBlanks = " \t\r\n\v\f";
[[nodiscard]] std::string_view WithoutLeadingBlanks(std::string_view text);

// Leading blanks and a sign, then digits; the rest is ignored. A number beyond signed 32 bits is
// clamped.
[[nodiscard]] std::optional<std::int32_t> ParseInt(std::string_view text);
// As ParseInt, for the 32 bits of a camera feature: 0 to 4294967295, or the negative number with
// the same bits, which is how such a feature reads. Nothing for a number outside both ranges.
[[nodiscard]] std::optional<std::uint32_t> ParseFeatureBits(std::string_view text);
[[nodiscard]] std::optional<float> ParseFloat(std::string_view text);
// False exactly when the first five characters are "False".
[[nodiscard]] bool ParseBool(std::string_view text);

[[nodiscard]] bool EqualsIgnoringCase(std::string_view left, std::string_view right);

}  // namespace cam

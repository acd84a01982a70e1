#include "base/text.h"

#include <charconv>
#include <limits>
#include <system_error>

namespace cam {

namespace {

// from_chars takes no plus sign.
std::string_view NumberIn(std::string_view text) {
    text = WithoutLeadingBlanks(text);
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') {
        text.remove_prefix(1);
    }
    return text;
}

char LowerAscii(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

void InternedText::Set(std::string_view text) noexcept {
    try {
        const LockGuard hold(m_lock);
        m_current.store(&*m_values.emplace(text).first, std::memory_order_release);
    } catch (...) {
        m_current.store(&m_empty, std::memory_order_release);
    }
}

std::string_view WithoutLeadingBlanks(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    return text;
}

std::optional<std::int32_t> ParseInt(std::string_view text) {
    text = NumberIn(text);
    std::int32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc::result_out_of_range) {
        return text.front() == '-' ? std::numeric_limits<std::int32_t>::min()
                                   : std::numeric_limits<std::int32_t>::max();
    }
    return error == std::errc{} ? std::optional(value) : std::nullopt;
}

std::optional<std::uint32_t> ParseFeatureBits(std::string_view text) {
    text = NumberIn(text);
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || value < std::numeric_limits<std::int32_t>::min() ||
        value > std::int64_t{std::numeric_limits<std::uint32_t>::max()}) {
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(value);
}

std::optional<float> ParseFloat(std::string_view text) {
    text = NumberIn(text);
    float value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc{} ? std::optional(value) : std::nullopt;
}

bool ParseBool(std::string_view text) {
    return !text.starts_with("False");
}

bool EqualsIgnoringCase(std::string_view left, std::string_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char a, char b) { return LowerAscii(a) == LowerAscii(b); });
}

}  // namespace cam

#include "params/value_text.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace cam {

namespace {

constexpr char kSeparator = '$';

constexpr std::int32_t kPreviewWidth = 600;
constexpr std::int32_t kPreviewHeight = 450;
constexpr float kPreviewAspect = 0.75F;

std::string_view WithoutLeadingBlanks(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r\n\v\f");
    text.remove_prefix(first == text.npos ? text.size() : first);
    // from_chars takes no plus sign.
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') {
        text.remove_prefix(1);
    }
    return text;
}

std::string Decimals(float value, int decimals) {
    char text[64];
    const auto [end, error] =
        std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, decimals);
    return error == std::errc{} ? std::string(text, end) : "0";
}

char LowerAscii(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string Int(std::uint32_t value) {
    return std::to_string(static_cast<std::int32_t>(value));
}

}  // namespace

std::string_view BeforeRange(std::string_view value) {
    return value.substr(0, value.find(kSeparator));
}

std::optional<std::int32_t> ParseInt(std::string_view text) {
    text = WithoutLeadingBlanks(text);
    std::int32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc::result_out_of_range) {
        return text.front() == '-' ? std::numeric_limits<std::int32_t>::min()
                                   : std::numeric_limits<std::int32_t>::max();
    }
    return error == std::errc{} ? std::optional(value) : std::nullopt;
}

std::optional<float> ParseFloat(std::string_view text) {
    text = WithoutLeadingBlanks(text);
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

std::string IntRangeText(std::int32_t value, std::int32_t minimum, std::int32_t maximum,
                         std::int32_t increment) {
    std::string text;
    for (const std::int32_t field : {value, minimum, maximum, increment}) {
        text += std::to_string(field) + kSeparator;
    }
    return text;
}

const char* SwitchText(bool on) {
    return on ? "True$$$$$" : "False$$$$$";
}

const char* PlainText(bool on) {
    return on ? "True" : "False";
}

std::string FeatureText(const KZIntValue& value) {
    return Int(value.current) + kSeparator + Int(value.minimum) + kSeparator + Int(value.maximum) +
           kSeparator + Int(value.increment) + "$1$";
}

std::string FeatureText(const KZFloatValue& value) {
    return Decimals(value.current, 3) + kSeparator + Decimals(value.minimum, 3) + kSeparator +
           Decimals(value.maximum, 3) + kSeparator + Decimals(1.0F, 6) + kSeparator;
}

std::string FeatureText(const KZEnumValue& value) {
    std::string text = Int(value.current);
    const std::uint32_t count = std::min(value.supportedCount, KZ_MAX_ENUM_ENTRIES);
    for (std::uint32_t i = 0; i < count; ++i) {
        text += kSeparator + Int(value.supported[i]);
    }
    return text;
}

std::string NodeNameOf(std::string_view key) {
    return std::string(key.substr(0, key.find('_')));
}

PreviewSize PreviewSizeOf(std::uint32_t width, std::uint32_t height) {
    if (width == 0 || height == 0) {
        return {kPreviewWidth, kPreviewHeight};
    }
    const float aspect = static_cast<float>(height) / static_cast<float>(width);
    if (aspect > kPreviewAspect) {
        return {static_cast<std::int32_t>(kPreviewHeight / aspect), kPreviewHeight};
    }
    return {kPreviewWidth, static_cast<std::int32_t>(aspect * kPreviewWidth)};
}

}  // namespace cam

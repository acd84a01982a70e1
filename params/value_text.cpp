#include "params/value_text.h"

#include <algorithm>
#include <charconv>

namespace cam {

namespace {

constexpr char kSeparator = '$';

constexpr std::int32_t kPreviewWidth = 600;
constexpr std::int32_t kPreviewHeight = 450;
constexpr float kPreviewAspect = 0.75F;

std::string Decimals(float value, int decimals) {
    char text[64];
    const auto [end, error] =
        std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, decimals);
    return error == std::errc{} ? std::string(text, end) : "0";
}

std::string Int(std::uint32_t value) {
    return std::to_string(static_cast<std::int32_t>(value));
}

}  // namespace

std::string_view BeforeRange(std::string_view value) {
    return value.substr(0, value.find(kSeparator));
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

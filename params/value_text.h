// The '$'-separated texts that parameters are exchanged in. Numbers are written the same whatever
// locale the host has set.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "camera/sdk/kz_camera_control.h"

namespace cam {

// A feature answer never takes more room than this, whatever the host has.
inline constexpr std::int32_t kFeatureTextSize = 256;

inline constexpr char kUnreadableFeature[] = "NULL$0$0$1$1$1";

// What a writer reads of a value: the text before the first '$'.
[[nodiscard]] std::string_view BeforeRange(std::string_view value);

[[nodiscard]] std::string IntRangeText(std::int32_t value, std::int32_t minimum,
                                       std::int32_t maximum, std::int32_t increment);
[[nodiscard]] const char* SwitchText(bool on);  // "True$$$$$"
[[nodiscard]] const char* PlainText(bool on);   // "True"

// Camera features, and what stands for them when they cannot be read.
[[nodiscard]] std::string FeatureText(const KZIntValue& value);
[[nodiscard]] std::string FeatureText(const KZFloatValue& value);
[[nodiscard]] std::string FeatureText(const KZEnumValue& value);

// A feature key names the node up to its first '_'.
[[nodiscard]] std::string NodeNameOf(std::string_view key);

struct PreviewSize {
    std::int32_t width;
    std::int32_t height;
};
// The size, within 600 x 450, that shows a picture of `width` x `height` whole; 600 x 450 when the
// picture's size is not known.
[[nodiscard]] PreviewSize PreviewSizeOf(std::uint32_t width, std::uint32_t height);

}  // namespace cam

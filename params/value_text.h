// The '$'-separated texts in which parameters are exchanged. Numbers are formatted independently of
// the host's locale.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "camera/sdk/kz_camera_control.h"

namespace cam {

// A feature value never takes more bytes than this, whatever the size of the host's buffer.
inline constexpr std::int32_t kFeatureTextSize = 256;

inline constexpr char kUnreadableFeature[] = "NULL$0$0$1$1$1";

// The part of a value that a write uses: the text before the first '$'.
[[nodiscard]] std::string_view BeforeRange(std::string_view value);

[[nodiscard]] std::string IntRangeText(std::int32_t value, std::int32_t minimum,
                                       std::int32_t maximum, std::int32_t increment);
[[nodiscard]] const char* SwitchText(bool on);  // "True$$$$$"
[[nodiscard]] const char* PlainText(bool on);   // "True"

// Camera features, and the text for those that cannot be read.
[[nodiscard]] std::string FeatureText(const KZIntValue& value);
[[nodiscard]] std::string FeatureText(const KZFloatValue& value);
[[nodiscard]] std::string FeatureText(const KZEnumValue& value);

// A feature key names the node up to its first '_'.
[[nodiscard]] std::string NodeNameOf(std::string_view key);

struct PreviewSize {
    std::int32_t width;
    std::int32_t height;
};
// The largest size within 600 x 450 that shows a whole picture of `width` x `height`; 600 x 450 if
// the picture's size is unknown.
[[nodiscard]] PreviewSize PreviewSizeOf(std::uint32_t width, std::uint32_t height);

}  // namespace cam

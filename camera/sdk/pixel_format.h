// GenICam PFNC / GigE Vision pixel format codes, by the names of the standard.
// Layout of a code: bits 24-31 colour class, bits 16-23 bits per pixel, bits 0-15 number.
#pragma once

#include <cstdint>

namespace pixel_format {

inline constexpr std::uint32_t kMono8 = 0x01080001;
inline constexpr std::uint32_t kMono10 = 0x01100003;
inline constexpr std::uint32_t kMono10Packed = 0x010C0004;
inline constexpr std::uint32_t kMono12 = 0x01100005;
inline constexpr std::uint32_t kMono12Packed = 0x010C0006;
inline constexpr std::uint32_t kMono14 = 0x01100025;
inline constexpr std::uint32_t kMono16 = 0x01100007;

inline constexpr std::uint32_t kBayerGR8 = 0x01080008;
inline constexpr std::uint32_t kBayerRG8 = 0x01080009;
inline constexpr std::uint32_t kBayerGB8 = 0x0108000A;
inline constexpr std::uint32_t kBayerBG8 = 0x0108000B;
inline constexpr std::uint32_t kBayerGR10 = 0x0110000C;
inline constexpr std::uint32_t kBayerRG10 = 0x0110000D;
inline constexpr std::uint32_t kBayerGB10 = 0x0110000E;
inline constexpr std::uint32_t kBayerBG10 = 0x0110000F;
inline constexpr std::uint32_t kBayerGR12 = 0x01100010;
inline constexpr std::uint32_t kBayerRG12 = 0x01100011;
inline constexpr std::uint32_t kBayerGB12 = 0x01100012;
inline constexpr std::uint32_t kBayerBG12 = 0x01100013;

inline constexpr std::uint32_t kRGB8 = 0x02180014;
inline constexpr std::uint32_t kBGR8 = 0x02180015;
inline constexpr std::uint32_t kYUV422_8_UYVY = 0x0210001F;
inline constexpr std::uint32_t kYUV422_8 = 0x02100032;  // YUYV

// The SDK's compressed variant of a format is its code with this bit set.
inline constexpr std::uint32_t kCompressedBit = 0x80000000;
// Carries the bit without being compressed: an ordinary colour format of the SDK.
inline constexpr std::uint32_t kSdkUncompressedColour = 0x80180001;

[[nodiscard]] constexpr std::uint32_t BitsPerPixel(std::uint32_t format) {
    return (format >> 16) & 0xFF;
}

}  // namespace pixel_format

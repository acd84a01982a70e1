#include "standins/kz_camera_control/simulated/pixel_formats.h"

#include <array>

#include "camera/sdk/pixel_format.h"

namespace kz {
namespace {

using namespace pixel_format;

constexpr auto kFormats = std::to_array<NamedPixelFormat>({
    {"Mono8", kMono8, true},
    {"Mono10", kMono10, true},
    {"Mono10Packed", kMono10Packed, true},
    {"Mono12", kMono12, true},
    {"Mono12Packed", kMono12Packed, true},
    {"Mono14", kMono14, true},
    {"Mono16", kMono16, true},
    {"BayerGR8", kBayerGR8, true},
    {"BayerRG8", kBayerRG8, true},
    {"BayerGB8", kBayerGB8, true},
    {"BayerBG8", kBayerBG8, true},
    {"BayerGR10", kBayerGR10, true},
    {"BayerRG10", kBayerRG10, true},
    {"BayerGB10", kBayerGB10, true},
    {"BayerBG10", kBayerBG10, true},
    {"BayerGR12", kBayerGR12, true},
    {"BayerRG12", kBayerRG12, true},
    {"BayerGB12", kBayerGB12, true},
    {"BayerBG12", kBayerBG12, true},
    {"RGB8", kRGB8, true},
    {"BGR8", kBGR8, true},
    {"YUV422_8_UYVY", kYUV422_8_UYVY, true},
    {"YUV422_8", kYUV422_8, true},
    {"SdkColour24", kSdkUncompressedColour, false},
});

}  // namespace

std::span<const NamedPixelFormat> SimulatedPixelFormats() {
    return kFormats;
}

std::uint32_t PixelFormatByName(std::string_view name) {
    const bool compressed = name.ends_with(kCompressedSuffix);
    if (compressed) {
        name.remove_suffix(kCompressedSuffix.size());
    }
    for (const NamedPixelFormat& format : kFormats) {
        if (format.name == name && (format.compressible || !compressed)) {
            return compressed ? format.code | kCompressedBit : format.code;
        }
    }
    return 0;
}

bool IsCompressed(std::uint32_t format) {
    return (format & kCompressedBit) != 0 && format != kSdkUncompressedColour;
}

bool IsMono(std::uint32_t format) {
    switch (format & ~kCompressedBit) {
        case kMono8:
        case kMono10:
        case kMono10Packed:
        case kMono12:
        case kMono12Packed:
        case kMono14:
        case kMono16:
            return true;
        default:
            return false;
    }
}

}  // namespace kz

#include "imaging/frame_rules.h"

#include <algorithm>
#include <iterator>

#include "camera/sdk/pixel_format.h"

namespace cam {

using namespace pixel_format;

namespace {

constexpr std::uint32_t kMonoFormats[] = {kMono8,  kMono10,       kMono12,
                                          kMono16, kMono10Packed, kMono12Packed};

constexpr std::uint32_t kDefaultDecodedBytes = 3;

}  // namespace

bool IsMonoFormat(std::uint32_t pixelType) {
    return std::find(std::begin(kMonoFormats), std::end(kMonoFormats),
                     pixelType & ~kCompressedBit) != std::end(kMonoFormats);
}

std::uint32_t OutputFormatOf(std::uint32_t pixelType) {
    return IsMonoFormat(pixelType) ? kMono8 : kRGB8;
}

bool IsCompressedFormat(std::uint32_t pixelType) {
    return (pixelType & kCompressedBit) != 0 && pixelType != kSdkUncompressedColour;
}

std::uint32_t DecodedBytesPerPixel(std::uint32_t pixelType) {
    struct Rule {
        std::uint32_t bit;
        std::uint32_t bytes;
    };
    // Combinations need no rule of their own: their first bit decides.
    static constexpr Rule kRules[] = {{8, 1}, {16, 2}, {32, 4}, {64, 8}};
    const std::uint32_t bitsPerPixel = BitsPerPixel(pixelType);
    for (const Rule& rule : kRules) {
        if ((bitsPerPixel & rule.bit) != 0) {
            return rule.bytes;
        }
    }
    return kDefaultDecodedBytes;
}

}  // namespace cam

#include "standins/kz_camera_control/pixel_conversion.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "camera/sdk/pixel_format.h"

namespace kz {
namespace {

using namespace pixel_format;

struct Picture {
    const std::uint8_t* source;
    std::size_t width;
    std::size_t height;

    [[nodiscard]] std::size_t Pixels() const { return width * height; }
};

// One converter for each pair of formats, so that nothing is decided per pixel.
using Converter = void (*)(const Picture& picture, std::uint8_t* destination);

// Fractions of 65536, so that integers carry the weights of BT.601 far below a rounding step.
constexpr std::int32_t kOne = 1 << 16;
constexpr std::int32_t kHalf = kOne / 2;
constexpr std::int32_t Fraction(double value) {
    return static_cast<std::int32_t>(value * kOne + (value < 0 ? -0.5 : 0.5));
}

// How the two destinations take a pixel.
struct ToMono8 {
    static constexpr std::size_t kChannels = 1;

    static void PutGrey(std::uint8_t* destination, std::uint8_t grey) { *destination = grey; }
    static void PutColour(std::uint8_t* destination, std::int32_t red, std::int32_t green,
                          std::int32_t blue) {
        constexpr std::int32_t kRed = Fraction(0.299);
        constexpr std::int32_t kBlue = Fraction(0.114);
        constexpr std::int32_t kGreen = kOne - kRed - kBlue;  // white stays white
        *destination =
            static_cast<std::uint8_t>((kRed * red + kGreen * green + kBlue * blue + kHalf) / kOne);
    }
};

struct ToRgb8 {
    static constexpr std::size_t kChannels = 3;

    static void PutGrey(std::uint8_t* destination, std::uint8_t grey) {
        PutColour(destination, grey, grey, grey);
    }
    static void PutColour(std::uint8_t* destination, std::int32_t red, std::int32_t green,
                          std::int32_t blue) {
        destination[0] = static_cast<std::uint8_t>(red);
        destination[1] = static_cast<std::uint8_t>(green);
        destination[2] = static_cast<std::uint8_t>(blue);
    }
};

// How samples lie in memory. Sample(line, i) is the i-th behind `line` at full depth.
struct EightBit {
    static constexpr std::size_t kBytes = 1;
    static constexpr unsigned kBits = 8;

    static std::uint32_t Sample(const std::uint8_t* line, std::size_t i) { return line[i]; }
};

template <unsigned Bits>
struct TwoByte {
    static constexpr std::size_t kBytes = 2;
    static constexpr unsigned kBits = Bits;

    static std::uint32_t Sample(const std::uint8_t* line, std::size_t i) {
        constexpr std::uint32_t kMask = (1U << Bits) - 1;
        return (line[2 * i] | static_cast<std::uint32_t>(line[2 * i + 1]) << 8) & kMask;
    }
};

// Two pixels in three bytes: the upper eight bits of each are the outer bytes, and nothing of the
// middle one is left in eight bits. The pairs run on from line to line.
struct PackedPairs {
    static constexpr unsigned kBits = 8;

    static std::uint32_t Sample(const std::uint8_t* frame, std::size_t i) {
        return frame[i / 2 * 3 + i % 2 * 2];
    }
};

template <typename Samples>
std::uint8_t EightBits(std::uint32_t sample) {
    return static_cast<std::uint8_t>(sample >> (Samples::kBits - 8));
}

template <typename Samples, typename Destination>
void ConvertGrey(const Picture& picture, std::uint8_t* destination) {
    const std::size_t pixels = picture.Pixels();
    for (std::size_t i = 0; i < pixels; ++i, destination += Destination::kChannels) {
        Destination::PutGrey(destination, EightBits<Samples>(Samples::Sample(picture.source, i)));
    }
}

// `Red` is the place of the red byte in a pixel, 0 or 2.
template <std::size_t Red, typename Destination>
void ConvertColour(const Picture& picture, std::uint8_t* destination) {
    const std::size_t pixels = picture.Pixels();
    const std::uint8_t* pixel = picture.source;
    for (std::size_t i = 0; i < pixels; ++i, pixel += 3, destination += Destination::kChannels) {
        Destination::PutColour(destination, pixel[Red], pixel[1], pixel[2 - Red]);
    }
}

std::int32_t ClippedByte(std::int32_t scaled) {
    return std::clamp((scaled + kHalf) >> 16, 0, 255);
}

struct Chroma {
    std::int32_t u = 0;  // -128 to 127
    std::int32_t v = 0;
};

template <typename Destination>
void PutYuv(std::uint8_t* destination, std::uint8_t luma, Chroma chroma) {
    if constexpr (Destination::kChannels == 1) {
        Destination::PutGrey(destination, luma);
    } else {
        const std::int32_t y = luma * kOne;
        Destination::PutColour(
            destination, ClippedByte(y + Fraction(1.402) * chroma.v),
            ClippedByte(y - Fraction(0.344136) * chroma.u - Fraction(0.714136) * chroma.v),
            ClippedByte(y + Fraction(1.772) * chroma.u));
    }
}

// `Luma` is the place of the first luma byte in a pair, 0 or 1.
template <std::size_t Luma, typename Destination>
void ConvertYuv422(const Picture& picture, std::uint8_t* destination) {
    constexpr std::size_t kU = 1 - Luma;
    const std::size_t pixels = picture.Pixels();
    const std::uint8_t* pair = picture.source;
    Chroma chroma;
    for (std::size_t i = 0; i + 1 < pixels; i += 2, pair += 4) {
        chroma = {pair[kU] - 128, pair[kU + 2] - 128};
        PutYuv<Destination>(destination, pair[Luma], chroma);
        PutYuv<Destination>(destination + Destination::kChannels, pair[Luma + 2], chroma);
        destination += 2 * Destination::kChannels;
    }
    if (pixels % 2 != 0) {
        PutYuv<Destination>(destination, pair[Luma], chroma);
    }
}

// One line of a mosaic between its neighbours. It holds green at every other place and, between
// them, one of red and blue - its own colour; the lines above and below hold the other one.
template <typename Samples, typename Destination>
class MosaicLine {
  public:
    MosaicLine(const std::uint8_t* above, const std::uint8_t* line, const std::uint8_t* below,
               bool ownIsRed)
        : m_above(above), m_line(line), m_below(below), m_ownIsRed(ownIsRed) {}

    // `left` and `right` are the places of the neighbours, which differ at the borders.
    void Put(std::uint8_t* destination, bool green, std::size_t x, std::size_t left,
             std::size_t right) const {
        if (green) {
            PutPixel(destination, Half(At(m_line, left), At(m_line, right)), At(m_line, x),
                     Half(At(m_above, x), At(m_below, x)));
        } else {
            PutPixel(destination, At(m_line, x),
                     Quarter(At(m_above, x), At(m_line, left), At(m_line, right), At(m_below, x)),
                     Quarter(At(m_above, left), At(m_above, right), At(m_below, left),
                             At(m_below, right)));
        }
    }

  private:
    static std::uint32_t At(const std::uint8_t* line, std::size_t x) {
        return Samples::Sample(line, x);
    }
    static std::uint32_t Half(std::uint32_t a, std::uint32_t b) { return (a + b + 1) / 2; }
    static std::uint32_t Quarter(std::uint32_t a, std::uint32_t b, std::uint32_t c,
                                 std::uint32_t d) {
        return (a + b + c + d + 2) / 4;
    }

    void PutPixel(std::uint8_t* destination, std::uint32_t own, std::uint32_t green,
                  std::uint32_t other) const {
        Destination::PutColour(destination, EightBits<Samples>(m_ownIsRed ? own : other),
                               EightBits<Samples>(green),
                               EightBits<Samples>(m_ownIsRed ? other : own));
    }

    const std::uint8_t* m_above;
    const std::uint8_t* m_line;
    const std::uint8_t* m_below;
    bool m_ownIsRed;
};

// Where red stands in the two-by-two tile of each order.
struct BayerGR {
    static constexpr std::size_t kRedX = 1, kRedY = 0;
};
struct BayerRG {
    static constexpr std::size_t kRedX = 0, kRedY = 0;
};
struct BayerGB {
    static constexpr std::size_t kRedX = 0, kRedY = 1;
};
struct BayerBG {
    static constexpr std::size_t kRedX = 1, kRedY = 1;
};

template <typename Samples, typename Order, typename Destination>
void ConvertBayer(const Picture& picture, std::uint8_t* destination) {
    const std::size_t width = picture.width;
    const std::size_t height = picture.height;
    if (width < 2 || height < 2) {
        ConvertGrey<Samples, Destination>(picture, destination);
        return;
    }
    const auto lineAt = [&](std::size_t y) { return picture.source + y * width * Samples::kBytes; };
    constexpr std::size_t kStep = Destination::kChannels;
    for (std::size_t y = 0; y < height; ++y) {
        const bool ownIsRed = y % 2 == Order::kRedY;
        const bool greenFirst = ownIsRed == (Order::kRedX == 1);
        const MosaicLine<Samples, Destination> line(lineAt(y == 0 ? 1 : y - 1), lineAt(y),
                                                    lineAt(y + 1 == height ? y - 1 : y + 1),
                                                    ownIsRed);
        line.Put(destination, greenFirst, 0, 1, 1);
        destination += kStep;
        std::size_t x = 1;
        for (; x + 2 < width; x += 2, destination += 2 * kStep) {
            line.Put(destination, !greenFirst, x, x - 1, x + 1);
            line.Put(destination + kStep, greenFirst, x + 1, x, x + 2);
        }
        for (; x < width; ++x, destination += kStep) {
            const bool green = greenFirst == (x % 2 == 0);
            line.Put(destination, green, x, x - 1, x + 1 == width ? x - 1 : x + 1);
        }
    }
}

struct SourceFormat {
    std::uint32_t code;
    Converter toMono8;
    Converter toRgb8;
};

template <typename Samples>
constexpr SourceFormat Grey(std::uint32_t code) {
    return {code, ConvertGrey<Samples, ToMono8>, ConvertGrey<Samples, ToRgb8>};
}
template <std::size_t Red>
constexpr SourceFormat Colour(std::uint32_t code) {
    return {code, ConvertColour<Red, ToMono8>, ConvertColour<Red, ToRgb8>};
}
template <std::size_t Luma>
constexpr SourceFormat Yuv422(std::uint32_t code) {
    return {code, ConvertYuv422<Luma, ToMono8>, ConvertYuv422<Luma, ToRgb8>};
}
template <typename Samples, typename Order>
constexpr SourceFormat Bayer(std::uint32_t code) {
    return {code, ConvertBayer<Samples, Order, ToMono8>, ConvertBayer<Samples, Order, ToRgb8>};
}

constexpr auto kSourceFormats = std::to_array<SourceFormat>({
    Grey<EightBit>(kMono8),
    Grey<TwoByte<10>>(kMono10),
    Grey<PackedPairs>(kMono10Packed),
    Grey<TwoByte<12>>(kMono12),
    Grey<PackedPairs>(kMono12Packed),
    Grey<TwoByte<14>>(kMono14),
    Grey<TwoByte<16>>(kMono16),
    Bayer<EightBit, BayerGR>(kBayerGR8),
    Bayer<EightBit, BayerRG>(kBayerRG8),
    Bayer<EightBit, BayerGB>(kBayerGB8),
    Bayer<EightBit, BayerBG>(kBayerBG8),
    Bayer<TwoByte<10>, BayerGR>(kBayerGR10),
    Bayer<TwoByte<10>, BayerRG>(kBayerRG10),
    Bayer<TwoByte<10>, BayerGB>(kBayerGB10),
    Bayer<TwoByte<10>, BayerBG>(kBayerBG10),
    Bayer<TwoByte<12>, BayerGR>(kBayerGR12),
    Bayer<TwoByte<12>, BayerRG>(kBayerRG12),
    Bayer<TwoByte<12>, BayerGB>(kBayerGB12),
    Bayer<TwoByte<12>, BayerBG>(kBayerBG12),
    Colour<0>(kRGB8),
    Colour<2>(kBGR8),
    Colour<0>(kSdkUncompressedColour),
    Yuv422<0>(kYUV422_8),
    Yuv422<1>(kYUV422_8_UYVY),
});

Converter FindConverter(std::uint32_t source, std::uint32_t destination) {
    const auto* const format =
        std::find_if(kSourceFormats.begin(), kSourceFormats.end(),
                     [source](const SourceFormat& row) { return row.code == source; });
    if (format == kSourceFormats.end()) {
        return nullptr;
    }
    return destination == kMono8  ? format->toMono8
           : destination == kRGB8 ? format->toRgb8
                                  : nullptr;
}

std::uint64_t FrameBytes(std::uint64_t pixels, std::uint32_t format) {
    return (pixels * BitsPerPixel(format) + 7) / 8;
}

}  // namespace

Code ConvertPixels(PixelConvertParam& param) {
    param.convertedLength = 0;
    if (param.source == nullptr || param.destination == nullptr || param.width == 0 ||
        param.height == 0) {
        return KZ_CC_E_PARAMETER;
    }
    const Converter convert = FindConverter(param.sourcePixelType, param.destinationPixelType);
    if (convert == nullptr) {
        return KZ_CC_E_NOT_SUPPORTED;
    }
    const std::uint64_t pixels = std::uint64_t{param.width} * param.height;
    if (param.sourceLength < FrameBytes(pixels, param.sourcePixelType)) {
        return KZ_CC_E_NO_DATA;
    }
    const std::uint64_t needed = FrameBytes(pixels, param.destinationPixelType);
    if (param.destinationCapacity < needed) {
        return KZ_CC_E_RESOURCE;
    }
    convert({param.source, param.width, param.height}, param.destination);
    param.convertedLength = static_cast<std::uint32_t>(needed);
    return KZ_CC_OK;
}

}  // namespace kz

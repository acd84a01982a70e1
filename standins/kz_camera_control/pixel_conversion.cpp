#include "standins/kz_camera_control/pixel_conversion.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

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

// One converter per pair of formats, so that nothing is decided per pixel. The loops are plain,
// branch-free and over arrays that do not overlap: the compiler vectorises each (CMakeLists.txt
// names the processors).
using Converter = void (*)(const Picture& picture, std::uint8_t* destination);
using Source = const std::uint8_t* __restrict;
using Target = std::uint8_t* __restrict;

// Conversions in several steps process runs of this many pixels, whose planes stay in the
// first-level cache. Even, so that pairs are not split.
constexpr std::size_t kRun = 1280;

struct Planes {
    std::array<std::uint8_t, kRun> red;
    std::array<std::uint8_t, kRun> green;
    std::array<std::uint8_t, kRun> blue;
};

// Fractions of 65536, so that integers hold the weights of BT.601 to far below a rounding step.
constexpr std::int32_t kOne = 1 << 16;
constexpr std::int32_t kHalf = kOne / 2;
constexpr std::int32_t Fraction(double value) {
    return static_cast<std::int32_t>(value * kOne + (value < 0 ? -0.5 : 0.5));
}

// How a run of pixels is stored in the two destinations.
struct ToMono8 {
    static constexpr std::size_t kChannels = 1;

    static std::uint8_t Luma(std::uint32_t red, std::uint32_t green, std::uint32_t blue) {
        constexpr std::uint32_t kRed = Fraction(0.299);
        constexpr std::uint32_t kBlue = Fraction(0.114);
        constexpr std::uint32_t kGreen = kOne - kRed - kBlue;  // keeps white white
        return static_cast<std::uint8_t>((kRed * red + kGreen * green + kBlue * blue + kHalf) >>
                                         16);
    }
    static void PutGrey(Target destination, std::size_t i, std::uint8_t grey) {
        destination[i] = grey;
    }
    static void PutPlanes(Target destination, const Planes& planes, std::size_t pixels) {
        for (std::size_t i = 0; i < pixels; ++i) {
            destination[i] = Luma(planes.red[i], planes.green[i], planes.blue[i]);
        }
    }
};

struct ToRgb8 {
    static constexpr std::size_t kChannels = 3;

    static void PutGrey(Target destination, std::size_t i, std::uint8_t grey) {
        destination[3 * i] = grey;
        destination[3 * i + 1] = grey;
        destination[3 * i + 2] = grey;
    }
    static void PutPlanes(Target destination, const Planes& planes, std::size_t pixels) {
        for (std::size_t i = 0; i < pixels; ++i) {
            destination[3 * i] = planes.red[i];
            destination[3 * i + 1] = planes.green[i];
            destination[3 * i + 2] = planes.blue[i];
        }
    }
};

// The memory layout of samples. At(line, i) is the i-th sample after `line` at full depth.
struct EightBit {
    using Sample = std::uint8_t;
    static constexpr unsigned kBits = 8;

    static Sample At(Source line, std::size_t i) { return line[i]; }
};

template <unsigned Bits>
struct TwoByte {
    using Sample = std::uint16_t;
    static constexpr unsigned kBits = Bits;

    static Sample At(Source line, std::size_t i) {
        static_assert(std::endian::native == std::endian::little);
        Sample sample;
        std::memcpy(&sample, line + sizeof sample * i, sizeof sample);
        return sample & static_cast<Sample>((1U << Bits) - 1);
    }
};

template <typename Samples>
std::uint8_t EightBits(typename Samples::Sample sample) {
    return static_cast<std::uint8_t>(sample >> (Samples::kBits - 8));
}

template <typename Samples, typename Destination>
void ConvertGrey(const Picture& picture, std::uint8_t* destination) {
    const Source source = picture.source;
    const Target target = destination;
    const std::size_t pixels = picture.Pixels();
    for (std::size_t i = 0; i < pixels; ++i) {
        Destination::PutGrey(target, i, EightBits<Samples>(Samples::At(source, i)));
    }
}

// Two pixels in three bytes: the upper eight bits of each are the outer bytes, and the middle one
// is dropped at eight bits. Pairs continue from line to line.
template <typename Destination>
void ConvertPackedPairs(const Picture& picture, std::uint8_t* destination) {
    const Source source = picture.source;
    const Target target = destination;
    const std::size_t pairs = picture.Pixels() / 2;
    for (std::size_t pair = 0; pair < pairs; ++pair) {
        Destination::PutGrey(target, 2 * pair, source[3 * pair]);
        Destination::PutGrey(target, 2 * pair + 1, source[3 * pair + 2]);
    }
    if (picture.Pixels() % 2 != 0) {
        Destination::PutGrey(target, 2 * pairs, source[3 * pairs]);
    }
}

// `Red` is the index of the red byte in a pixel, 0 or 2.
template <std::size_t Red>
void ConvertColourToMono8(const Picture& picture, std::uint8_t* destination) {
    const Source source = picture.source;
    const Target target = destination;
    const std::size_t pixels = picture.Pixels();
    for (std::size_t i = 0; i < pixels; ++i) {
        target[i] = ToMono8::Luma(source[3 * i + Red], source[3 * i + 1], source[3 * i + 2 - Red]);
    }
}

template <std::size_t Red>
void PutColour(Source source, Target target, std::size_t pixels) {
    for (std::size_t i = 0; i < pixels; ++i) {
        target[3 * i] = source[3 * i + Red];
        target[3 * i + 1] = source[3 * i + 1];
        target[3 * i + 2] = source[3 * i + 2 - Red];
    }
}

// Selects the bytes of one channel in a block of whole pixels and whole vectors.
constexpr std::size_t kBlockPixels = 16;
constexpr std::size_t kBlockBytes = 3 * kBlockPixels;
constexpr auto ChannelMask(std::size_t channel) {
    std::array<std::uint8_t, kBlockBytes> mask{};
    for (std::size_t i = channel; i < mask.size(); i += 3) {
        mask[i] = 0xFF;
    }
    return mask;
}

template <std::size_t Red>
void ConvertColourToRgb8(const Picture& picture, std::uint8_t* destination) {
    const std::size_t pixels = picture.Pixels();
    std::size_t done = std::min(pixels, kBlockPixels);
    PutColour<Red>(picture.source, destination, done);
    // Blends the block with itself shifted by two bytes either way, which is faster than moving
    // each byte. The first and the last block are copied by pixel, as a shift would leave the
    // picture.
    static constexpr auto kFirst = ChannelMask(0);
    static constexpr auto kMiddle = ChannelMask(1);
    static constexpr auto kLast = ChannelMask(2);
    for (; done + kBlockPixels < pixels; done += kBlockPixels) {
        const Source block = picture.source + 3 * done;
        const Target target = destination + 3 * done;
        for (std::size_t i = 0; i < kBlockBytes; ++i) {
            target[i] =
                static_cast<std::uint8_t>((block[i] & kMiddle[i]) | (block[i + Red] & kFirst[i]) |
                                          (block[i - Red] & kLast[i]));
        }
    }
    PutColour<Red>(picture.source + 3 * done, destination + 3 * done, pixels - done);
}

// Pairs of pixels in four bytes. `Luma` is the index of the first luma byte in a pair, 0 or 1.
template <std::size_t Luma>
void ConvertYuv422ToMono8(const Picture& picture, std::uint8_t* destination) {
    const Source source = picture.source;
    const Target target = destination;
    const std::size_t pixels = picture.Pixels();
    for (std::size_t i = 0; i < pixels; ++i) {
        target[i] = source[2 * i + Luma];
    }
}

// What the chroma of a run adds to the luma of each of its pixels. The luma is an integer, so
// rounding here rounds the sum. Sixteen bits suffice for each step and are twice as fast as
// thirty-two.
struct ChromaRun {
    std::array<std::int16_t, kRun> red{};
    std::array<std::int16_t, kRun> green{};
    std::array<std::int16_t, kRun> blue{};

    template <std::size_t Luma>
    void Read(Source source, std::size_t pairs) {
        // Two loops: unpacking bytes and multiplying do not vectorise well together.
        std::array<std::int16_t, kRun / 2> us;
        std::array<std::int16_t, kRun / 2> vs;
        for (std::size_t pair = 0; pair < pairs; ++pair) {
            us[pair] = static_cast<std::int16_t>(source[4 * pair + 1 - Luma] - 128);
            vs[pair] = static_cast<std::int16_t>(source[4 * pair + 3 - Luma] - 128);
        }
        for (std::size_t pair = 0; pair < pairs; ++pair) {
            const std::int32_t u = us[pair];
            const std::int32_t v = vs[pair];
            red[2 * pair] = red[2 * pair + 1] = Rounded(Fraction(1.402) * v);
            green[2 * pair] = green[2 * pair + 1] =
                Rounded(-Fraction(0.344136) * u - Fraction(0.714136) * v);
            blue[2 * pair] = blue[2 * pair + 1] = Rounded(Fraction(1.772) * u);
        }
    }
    void Copy(std::size_t from, std::size_t to) {
        red[to] = red[from];
        green[to] = green[from];
        blue[to] = blue[from];
    }

  private:
    static std::int16_t Rounded(std::int32_t scaled) {
        return static_cast<std::int16_t>((scaled + kHalf) >> 16);
    }
};

std::uint8_t ClippedSum(std::int16_t luma, std::int16_t chroma) {
    const auto sum = static_cast<std::int16_t>(luma + chroma);
    const std::int16_t notNegative = std::max<std::int16_t>(sum, 0);
    return static_cast<std::uint8_t>(std::min<std::int16_t>(notNegative, 255));
}

template <std::size_t Luma>
void AddLuma(Source source, const ChromaRun& chroma, std::size_t pixels, Planes& planes) {
    for (std::size_t i = 0; i < pixels; ++i) {
        const std::int16_t luma = source[2 * i + Luma];
        planes.red[i] = ClippedSum(luma, chroma.red[i]);
        planes.green[i] = ClippedSum(luma, chroma.green[i]);
        planes.blue[i] = ClippedSum(luma, chroma.blue[i]);
    }
}

template <std::size_t Luma>
void ConvertYuv422ToRgb8(const Picture& picture, std::uint8_t* destination) {
    const std::size_t pixels = picture.Pixels();
    Planes planes;
    ChromaRun chroma;
    for (std::size_t begin = 0; begin < pixels; begin += kRun) {
        const std::size_t count = std::min(pixels - begin, kRun);
        const std::uint8_t* const source = picture.source + 2 * begin;
        chroma.Read<Luma>(source, count / 2);
        if (count % 2 != 0) {
            // Without a partner it takes the chroma of the previous pair, from the previous run if
            // need be.
            chroma.Copy(count > 1 ? count - 2 : kRun - 1, count - 1);
        }
        AddLuma<Luma>(source, chroma, count, planes);
        ToRgb8::PutPlanes(destination + 3 * begin, planes, count);
    }
}

// A run of a mosaic's line at full depth, with the adjacent samples; at the borders of the frame
// those are mirrored.
template <typename Samples>
struct MosaicRun {
    using Sample = typename Samples::Sample;
    // The first is left of the run, the last belongs to the partner of a pixel without one.
    std::array<Sample, kRun + 3> samples{};

    void Read(Source line, std::size_t begin, std::size_t pixels, std::size_t width) {
        samples[0] = Samples::At(line, begin == 0 ? 1 : begin - 1);
        for (std::size_t i = 0; i < pixels; ++i) {
            samples[i + 1] = Samples::At(line, begin + i);
        }
        const std::size_t end = begin + pixels;
        samples[pixels + 1] = Samples::At(line, end == width ? end - 2 : end);
    }
};

// A line has green in every other column and, between them, either red or blue - its own colour;
// the lines above and below have the other one. `Green` is the first green column, 0 or 1. Columns
// come in pairs, so up to one beyond `pixels` is computed.
template <typename Samples, std::size_t Green>
void Interpolate(const MosaicRun<Samples>& above, const MosaicRun<Samples>& line,
                 const MosaicRun<Samples>& below, std::size_t pixels, Target own, Target green,
                 Target other) {
    using Sample = typename Samples::Sample;
    const auto half = [](unsigned a, unsigned b) { return static_cast<Sample>((a + b + 1) >> 1); };
    const auto quarter = [](unsigned a, unsigned b, unsigned c, unsigned d) {
        return static_cast<Sample>((a + b + c + d + 2) >> 2);
    };
    const Sample* const a = above.samples.data() + 1;
    const Sample* const l = line.samples.data() + 1;
    const Sample* const b = below.samples.data() + 1;
    for (std::size_t pair = 0; pair < (pixels + 1) / 2; ++pair) {
        const std::size_t g = 2 * pair + Green;
        own[g] = EightBits<Samples>(half(l[g - 1], l[g + 1]));
        green[g] = EightBits<Samples>(l[g]);
        other[g] = EightBits<Samples>(half(a[g], b[g]));
        const std::size_t c = 2 * pair + 1 - Green;
        own[c] = EightBits<Samples>(l[c]);
        green[c] = EightBits<Samples>(quarter(a[c], l[c - 1], l[c + 1], b[c]));
        other[c] = EightBits<Samples>(quarter(a[c - 1], a[c + 1], b[c - 1], b[c + 1]));
    }
}

// The position of red in the two-by-two tile of each order.
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
    const auto lineAt = [&](std::size_t y) {
        return picture.source + y * width * sizeof(typename Samples::Sample);
    };
    MosaicRun<Samples> above;
    MosaicRun<Samples> line;
    MosaicRun<Samples> below;
    Planes planes;
    for (std::size_t y = 0; y < height; ++y) {
        const bool ownIsRed = y % 2 == Order::kRedY;
        const bool greenFirst = ownIsRed == (Order::kRedX == 1);
        auto& own = ownIsRed ? planes.red : planes.blue;
        auto& other = ownIsRed ? planes.blue : planes.red;
        for (std::size_t begin = 0; begin < width; begin += kRun) {
            const std::size_t pixels = std::min(width - begin, kRun);
            above.Read(lineAt(y == 0 ? 1 : y - 1), begin, pixels, width);
            line.Read(lineAt(y), begin, pixels, width);
            below.Read(lineAt(y + 1 == height ? y - 1 : y + 1), begin, pixels, width);
            if (greenFirst) {
                Interpolate<Samples, 0>(above, line, below, pixels, own.data(), planes.green.data(),
                                        other.data());
            } else {
                Interpolate<Samples, 1>(above, line, below, pixels, own.data(), planes.green.data(),
                                        other.data());
            }
            Destination::PutPlanes(destination + (y * width + begin) * Destination::kChannels,
                                   planes, pixels);
        }
    }
}

// The same loops with vectors of twice the width, for processors that have them.
#if KZ_WIDE_VECTORS
template <Converter Plain>
[[gnu::target("avx2"), gnu::flatten]] void Wide(const Picture& picture, std::uint8_t* destination) {
    Plain(picture, destination);
}
bool HasWideVectors() {
    return __builtin_cpu_supports("avx2");
}
#else
template <Converter Plain>
constexpr Converter Wide = Plain;
bool HasWideVectors() {
    return false;
}
#endif

struct Conversion {
    Converter plain;
    Converter wide;
};
template <Converter Plain>
constexpr Conversion kConversion{Plain, Wide<Plain>};

struct SourceFormat {
    std::uint32_t code;
    Conversion toMono8;
    Conversion toRgb8;
};

template <typename Samples>
constexpr SourceFormat Grey(std::uint32_t code) {
    return {code, kConversion<ConvertGrey<Samples, ToMono8>>,
            kConversion<ConvertGrey<Samples, ToRgb8>>};
}
constexpr SourceFormat PackedPairs(std::uint32_t code) {
    return {code, kConversion<ConvertPackedPairs<ToMono8>>,
            kConversion<ConvertPackedPairs<ToRgb8>>};
}
template <std::size_t Red>
constexpr SourceFormat Colour(std::uint32_t code) {
    return {code, kConversion<ConvertColourToMono8<Red>>, kConversion<ConvertColourToRgb8<Red>>};
}
template <std::size_t Luma>
constexpr SourceFormat Yuv422(std::uint32_t code) {
    return {code, kConversion<ConvertYuv422ToMono8<Luma>>, kConversion<ConvertYuv422ToRgb8<Luma>>};
}
template <typename Samples, typename Order>
constexpr SourceFormat Bayer(std::uint32_t code) {
    return {code, kConversion<ConvertBayer<Samples, Order, ToMono8>>,
            kConversion<ConvertBayer<Samples, Order, ToRgb8>>};
}

constexpr auto kSourceFormats = std::to_array<SourceFormat>({
    Grey<EightBit>(kMono8),
    Grey<TwoByte<10>>(kMono10),
    PackedPairs(kMono10Packed),
    Grey<TwoByte<12>>(kMono12),
    PackedPairs(kMono12Packed),
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
    if (format == kSourceFormats.end() || (destination != kMono8 && destination != kRGB8)) {
        return nullptr;
    }
    static const bool wide = HasWideVectors();
    const Conversion& conversion = destination == kMono8 ? format->toMono8 : format->toRgb8;
    return wide ? conversion.wide : conversion.plain;
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

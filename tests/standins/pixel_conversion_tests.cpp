#include "standins/kz_camera_control/pixel_conversion.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <numeric>
#include <random>
#include <utility>
#include <vector>

#include "camera/sdk/pixel_format.h"
#include "standins/kz_camera_control/frame_compression.h"

namespace kz {
namespace {

using namespace pixel_format;
using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using Bytes = std::vector<std::uint8_t>;

// A heap block of the exact size, so that AddressSanitizer sees one byte too many; never null.
std::unique_ptr<std::uint8_t[]> ExactCopy(const std::uint8_t* bytes, std::size_t length) {
    auto copy = std::make_unique<std::uint8_t[]>(length);
    std::copy_n(bytes, length, copy.get());
    return copy;
}

struct Conversion {
    Code code;
    Bytes pixels;
};
Conversion Convert(std::uint32_t from, std::uint16_t width, std::uint16_t height,
                   const Bytes& source, std::uint32_t to) {
    Bytes destination(std::size_t{width} * height * (to == kMono8 ? 1 : 3));
    const auto input = ExactCopy(source.data(), source.size());
    PixelConvertParam param{};
    param.width = width;
    param.height = height;
    param.sourcePixelType = from;
    param.source = input.get();
    param.sourceLength = static_cast<std::uint32_t>(source.size());
    param.destinationPixelType = to;
    param.destination = destination.data();
    param.destinationCapacity = static_cast<std::uint32_t>(destination.size());
    const Code code = ConvertPixels(param);
    destination.resize(param.convertedLength);
    return {code, destination};
}
Bytes ToMono(std::uint32_t from, std::uint16_t width, std::uint16_t height, const Bytes& source) {
    return Convert(from, width, height, source, kMono8).pixels;
}
Bytes ToRgb(std::uint32_t from, std::uint16_t width, std::uint16_t height, const Bytes& source) {
    return Convert(from, width, height, source, kRGB8).pixels;
}

TEST(PixelConversion, GreySamplesKeepTheirUpperEightBits) {
    // 0x3FF and 0x1FE of 10 bits; the bits above the tenth mean nothing.
    EXPECT_THAT(ToMono(kMono10, 2, 1, {0xFF, 0x03, 0xFE, 0xFD}), ElementsAre(255, 127));
    EXPECT_THAT(ToMono(kMono12, 2, 1, {0xFF, 0x0F, 0x23, 0x01}), ElementsAre(255, 0x12));
    EXPECT_THAT(ToMono(kMono14, 2, 1, {0xFF, 0x3F, 0x40, 0x20}), ElementsAre(255, 0x81));
    EXPECT_THAT(ToMono(kMono16, 2, 1, {0xFF, 0x80, 0x34, 0x12}), ElementsAre(0x80, 0x12));
    EXPECT_THAT(ToMono(kMono8, 3, 1, {1, 2, 3}), ElementsAre(1, 2, 3));
    EXPECT_THAT(ToRgb(kMono8, 1, 2, {7, 9}), ElementsAre(7, 7, 7, 9, 9, 9));
    EXPECT_THAT(ToRgb(kMono12, 1, 1, {0x50, 0x0A}), ElementsAre(0xA5, 0xA5, 0xA5));
}

TEST(PixelConversion, PackedPairsRunOnOverLinesAndRoundUpAtTheEnd) {
    // 12 bits: 0xABC and 0x123; 10 bits: 0x2AF = 0xAB << 2 | 3 and 0x049 = 0x12 << 2 | 1.
    EXPECT_THAT(ToMono(kMono12Packed, 2, 1, {0xAB, 0x3C, 0x12}), ElementsAre(0xAB, 0x12));
    EXPECT_THAT(ToMono(kMono10Packed, 2, 1, {0xAB, 0x13, 0x12}), ElementsAre(0xAB, 0x12));
    // Three lines of one pixel lie in five bytes.
    EXPECT_THAT(ToMono(kMono12Packed, 1, 3, {0x10, 0xFF, 0x20, 0x30, 0x0F}),
                ElementsAre(0x10, 0x20, 0x30));
    EXPECT_THAT(ToRgb(kMono10Packed, 1, 1, {0x44, 0x03}), ElementsAre(0x44, 0x44, 0x44));
}

TEST(PixelConversion, ColourKeepsItsChannelsAndGivesBt601Luma) {
    EXPECT_THAT(ToRgb(kRGB8, 1, 1, {10, 20, 30}), ElementsAre(10, 20, 30));
    EXPECT_THAT(ToRgb(kBGR8, 2, 1, {10, 20, 30, 1, 2, 3}), ElementsAre(30, 20, 10, 3, 2, 1));
    EXPECT_THAT(ToRgb(kSdkUncompressedColour, 1, 1, {10, 20, 30}), ElementsAre(10, 20, 30));

    // 0.299 x 255 = 76.2, 0.587 x 255 = 149.7, 0.114 x 255 = 29.1.
    EXPECT_THAT(ToMono(kRGB8, 5, 1, {255, 0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 255, 0, 0, 0}),
                ElementsAre(76, 150, 29, 255, 0));
    // 0.299 x 200 + 0.587 x 100 + 0.114 x 50 = 124.2.
    EXPECT_THAT(ToMono(kBGR8, 1, 1, {50, 100, 200}), ElementsAre(124));
}

// Of every length about the blocks in which it is done.
TEST(PixelConversion, RedAndBlueChangePlacesInEveryPixel) {
    for (std::uint16_t width = 1; width <= 70; ++width) {
        Bytes bgr(3U * width);
        std::iota(bgr.begin(), bgr.end(), std::uint8_t{1});
        Bytes rgb = bgr;
        for (std::size_t i = 0; i < rgb.size(); i += 3) {
            std::swap(rgb[i], rgb[i + 2]);
        }
        EXPECT_EQ(ToRgb(kBGR8, width, 1, bgr), rgb) << width;
        EXPECT_EQ(ToRgb(kRGB8, width, 1, bgr), bgr) << width;
    }
}

TEST(PixelConversion, YuvIsFullRangeBt601) {
    // (Y, U, V) of red (76, 85, 255), green (150, 44, 21), blue (29, 255, 107) as tables of JFIF
    // give them; back again they miss the pure colours by the rounding of the chroma only.
    EXPECT_THAT(ToRgb(kYUV422_8, 2, 1, {76, 85, 76, 255}), ElementsAre(254, 0, 0, 254, 0, 0));
    EXPECT_THAT(ToRgb(kYUV422_8_UYVY, 2, 1, {44, 150, 21, 150}), ElementsAre(0, 255, 1, 0, 255, 1));
    EXPECT_THAT(ToRgb(kYUV422_8, 2, 1, {29, 255, 29, 107}), ElementsAre(0, 0, 254, 0, 0, 254));
    // Neutral chroma leaves black black and white white, which a video range would not.
    EXPECT_THAT(ToRgb(kYUV422_8_UYVY, 2, 1, {128, 0, 128, 255}),
                ElementsAre(0, 0, 0, 255, 255, 255));
    // 100 + 1.402 x 10 = 114.0, 100 - 0.344 x 20 - 0.714 x 10 = 86.0, 100 + 1.772 x 20 = 135.4.
    EXPECT_THAT(ToRgb(kYUV422_8, 2, 1, {100, 148, 200, 138}),
                ElementsAre(114, 86, 135, 214, 186, 235));
    EXPECT_THAT(ToMono(kYUV422_8, 2, 1, {76, 85, 77, 255}), ElementsAre(76, 77));
    EXPECT_THAT(ToMono(kYUV422_8_UYVY, 2, 1, {85, 76, 255, 77}), ElementsAre(76, 77));
    // The last pixel of an odd frame takes the chroma before it.
    EXPECT_THAT(ToRgb(kYUV422_8, 3, 1, {100, 148, 200, 138, 50, 0}),
                ElementsAre(114, 86, 135, 214, 186, 235, 64, 36, 85));
    EXPECT_THAT(ToRgb(kYUV422_8_UYVY, 1, 1, {0, 50}), ElementsAre(50, 50, 50));
}

// The colour of each place of a two-by-two tile, row by row.
struct BayerFormat {
    std::array<std::uint32_t, 3> codes;  // 8, 10 and 12 bits
    const char* tile;
};
const std::array<BayerFormat, 4> kBayerFormats = {{
    {{kBayerGR8, kBayerGR10, kBayerGR12}, "GRBG"},
    {{kBayerRG8, kBayerRG10, kBayerRG12}, "RGGB"},
    {{kBayerGB8, kBayerGB10, kBayerGB12}, "GBRG"},
    {{kBayerBG8, kBayerBG10, kBayerBG12}, "BGGR"},
}};

Bytes ConstantMosaic(const char* tile, int width, int height, unsigned bits) {
    Bytes mosaic;
    for (int i = 0; i < width * height; ++i) {
        const char place = tile[i / width % 2 * 2 + i % width % 2];
        const unsigned value = (place == 'R' ? 200 : place == 'G' ? 100 : 50) << (bits - 8);
        mosaic.push_back(static_cast<std::uint8_t>(value));
        if (bits > 8) {
            mosaic.push_back(static_cast<std::uint8_t>(value >> 8));
        }
    }
    return mosaic;
}

TEST(PixelConversion, AMosaicOfOneColourGivesThatColourEverywhere) {
    for (const BayerFormat& format : kBayerFormats) {
        for (const auto& [width, height] :
             {std::pair{2, 2}, {3, 2}, {2, 3}, {3, 3}, {4, 4}, {5, 7}, {8, 3}}) {
            for (unsigned depth = 0; depth < 3; ++depth) {
                SCOPED_TRACE(testing::Message() << format.tile << ' ' << width << 'x' << height
                                                << ", " << 8 + 2 * depth << " bits");
                const Bytes mosaic = ConstantMosaic(format.tile, width, height, 8 + 2 * depth);
                const auto w = static_cast<std::uint16_t>(width);
                const auto h = static_cast<std::uint16_t>(height);
                Bytes expected;
                for (int i = 0; i < width * height; ++i) {
                    expected.insert(expected.end(), {200, 100, 50});
                }
                EXPECT_EQ(ToRgb(format.codes[depth], w, h, mosaic), expected);
                // 0.299 x 200 + 0.587 x 100 + 0.114 x 50 = 124.2.
                EXPECT_THAT(ToMono(format.codes[depth], w, h, mosaic), Each(124));
            }
        }
    }
}

TEST(PixelConversion, AMosaicIsInterpolatedBilinearly) {
    // R G R G     Worked out by hand: (0,0), (1,0), (0,1), (1,1), (2,1), (1,2), (2,2) and (3,3).
    // G B G B
    const Bytes mosaic = {10,  20,  30,  40,   //
                          50,  60,  70,  80,   //
                          90,  100, 110, 120,  //
                          130, 140, 150, 160};
    const Bytes rgb = ToRgb(kBayerRG8, 4, 4, mosaic);
    ASSERT_EQ(rgb.size(), 48U);
    const auto at = [&](int x, int y) {
        const auto begin = rgb.begin() + (y * 4 + x) * 3;
        return Bytes(begin, begin + 3);
    };
    EXPECT_THAT(at(0, 0), ElementsAre(10, 35, 60));     // mirrored: G (20+20+50+50)/4, B 60
    EXPECT_THAT(at(1, 0), ElementsAre(20, 20, 60));     // R (10+30)/2, B 60 above and below
    EXPECT_THAT(at(0, 1), ElementsAre(50, 50, 60));     // R (10+90)/2, B 60 left and right
    EXPECT_THAT(at(1, 1), ElementsAre(60, 60, 60));     // R (10+30+90+110)/4, G (20+50+70+100)/4
    EXPECT_THAT(at(2, 1), ElementsAre(70, 70, 70));     // R (30+110)/2, B (60+80)/2
    EXPECT_THAT(at(1, 2), ElementsAre(100, 100, 100));  // R (90+110)/2, B (60+140)/2
    EXPECT_THAT(at(2, 2), ElementsAre(110, 110, 110));  // G (70+100+120+150)/4, B (60+80+140+160)/4
    EXPECT_THAT(at(3, 3), ElementsAre(110, 135, 160));  // R 110, G (120+120+150+150)/4

    // Averages are taken before the lower bits go: between red 0x000 and 0x010 stands 0x008, which
    // is 0; the average of 0 and 1 would be 1.
    EXPECT_THAT(ToRgb(kBayerRG12, 3, 2, {0, 0, 0, 0, 0x10, 0, 0, 0, 0, 0, 0, 0}),
                ElementsAre(0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0));
    EXPECT_THAT(ToRgb(kBayerGB10, 2, 2, {0xFC, 3, 0xFC, 3, 0xFC, 3, 0xFC, 3}), Each(255));
}

TEST(PixelConversion, AMosaicOfOneLineIsGrey) {
    EXPECT_THAT(ToRgb(kBayerBG8, 1, 1, {9}), ElementsAre(9, 9, 9));
    EXPECT_THAT(ToRgb(kBayerGR8, 1, 2, {9, 11}), ElementsAre(9, 9, 9, 11, 11, 11));
    EXPECT_THAT(ToMono(kBayerRG12, 3, 1, {0x90, 0x01, 0, 0x0F, 0, 0}), ElementsAre(0x19, 0xF0, 0));
}

// Bits a pixel of every source, written out again.
const std::vector<std::pair<std::uint32_t, unsigned>> kSources = {
    {kMono8, 8},         {kMono10, 16},
    {kMono10Packed, 12}, {kMono12, 16},
    {kMono12Packed, 12}, {kMono14, 16},
    {kMono16, 16},       {kBayerGR8, 8},
    {kBayerRG8, 8},      {kBayerGB8, 8},
    {kBayerBG8, 8},      {kBayerGR10, 16},
    {kBayerRG10, 16},    {kBayerGB10, 16},
    {kBayerBG10, 16},    {kBayerGR12, 16},
    {kBayerRG12, 16},    {kBayerGB12, 16},
    {kBayerBG12, 16},    {kRGB8, 24},
    {kBGR8, 24},         {kSdkUncompressedColour, 24},
    {kYUV422_8, 16},     {kYUV422_8_UYVY, 16},
};

TEST(PixelConversion, ExactlyThePictureIsReadAndWritten) {
    for (const auto& [format, bits] : kSources) {
        for (const auto& [width, height] : {std::pair<std::uint16_t, std::uint16_t>{1, 1},
                                            {1, 5},
                                            {5, 1},
                                            {3, 3},
                                            {7, 5},
                                            {8, 4}}) {
            for (const std::uint32_t to : {kMono8, kRGB8}) {
                SCOPED_TRACE(testing::Message() << std::hex << format << " to " << to << std::dec
                                                << ' ' << width << 'x' << height);
                const std::size_t length = (std::size_t{width} * height * bits + 7) / 8;
                const Conversion full = Convert(format, width, height, Bytes(length, 0xFF), to);
                EXPECT_EQ(full.code, KZ_CC_OK);
                EXPECT_EQ(full.pixels.size(), std::size_t{width} * height * (to == kMono8 ? 1 : 3));
                const Conversion cut = Convert(format, width, height, Bytes(length - 1), to);
                EXPECT_EQ(cut.code, KZ_CC_E_NO_DATA);
                EXPECT_THAT(cut.pixels, IsEmpty());
            }
        }
    }
}

// Wide frames are converted in runs; a narrow piece of one, which is a single run, gives the same
// pixels but for its borders. The piece is moved over all places, so over every seam.
TEST(PixelConversion, WideFramesShowNoSeams) {
    constexpr std::size_t kWide = 2700;
    constexpr std::size_t kNarrow = 30;
    constexpr std::size_t kHeight = 3;
    std::mt19937 random(5);
    for (const auto& [format, bits] : kSources) {
        const std::size_t wideLine = kWide * bits / 8;
        const std::size_t narrowLine = kNarrow * bits / 8;
        Bytes wide(wideLine * kHeight);
        std::generate(wide.begin(), wide.end(),
                      [&] { return static_cast<std::uint8_t>(random()); });
        for (const std::uint32_t to : {kMono8, kRGB8}) {
            SCOPED_TRACE(testing::Message() << std::hex << format << " to " << to);
            const std::size_t channels = to == kMono8 ? 1 : 3;
            const Bytes whole = Convert(format, kWide, kHeight, wide, to).pixels;
            for (std::size_t x = 0; x + kNarrow <= kWide; x += kNarrow - 2) {
                Bytes piece;
                for (std::size_t y = 0; y < kHeight; ++y) {
                    const auto from =
                        wide.begin() + static_cast<std::ptrdiff_t>(y * wideLine + x * bits / 8);
                    piece.insert(piece.end(), from, from + static_cast<std::ptrdiff_t>(narrowLine));
                }
                const Bytes part = Convert(format, kNarrow, kHeight, piece, to).pixels;
                for (std::size_t y = 0; y < kHeight; ++y) {
                    const std::uint8_t* const got = &whole[(y * kWide + x + 1) * channels];
                    ASSERT_TRUE(std::equal(got, got + (kNarrow - 2) * channels,
                                           &part[(y * kNarrow + 1) * channels]))
                        << "at " << x << ", " << y;
                }
            }
        }
    }
}

TEST(PixelConversion, RefusesWhatItCannotConvert) {
    const Bytes source(64);
    Bytes destination(64, 0xEE);
    PixelConvertParam good{};
    good.width = 4;
    good.height = 4;
    good.sourcePixelType = kMono8;
    good.source = source.data();
    good.sourceLength = 64;
    good.destinationPixelType = kRGB8;
    good.destination = destination.data();
    good.destinationCapacity = 48;
    const auto codeWith = [&](auto change) {
        PixelConvertParam param = good;
        param.convertedLength = 1;
        change(param);
        const Code code = ConvertPixels(param);
        EXPECT_EQ(param.convertedLength, 0U);
        return code;
    };
    using Param = PixelConvertParam;
    EXPECT_EQ(codeWith([](Param& p) { p.source = nullptr; }), KZ_CC_E_PARAMETER);
    EXPECT_EQ(codeWith([](Param& p) { p.destination = nullptr; }), KZ_CC_E_PARAMETER);
    EXPECT_EQ(codeWith([](Param& p) { p.width = 0; }), KZ_CC_E_PARAMETER);
    EXPECT_EQ(codeWith([](Param& p) { p.height = 0; }), KZ_CC_E_PARAMETER);
    EXPECT_EQ(codeWith([](Param& p) { p.destinationCapacity = 47; }), KZ_CC_E_RESOURCE);
    EXPECT_EQ(codeWith([](Param& p) { p.destinationPixelType = kBGR8; }), KZ_CC_E_NOT_SUPPORTED);
    EXPECT_EQ(codeWith([](Param& p) { p.sourcePixelType |= kCompressedBit; }),
              KZ_CC_E_NOT_SUPPORTED);
    EXPECT_EQ(codeWith([](Param& p) { p.sourcePixelType = 0x01010037; }), KZ_CC_E_NOT_SUPPORTED);
    // 65535 x 65535 x 3 modulo 2^32 would fit.
    EXPECT_EQ(codeWith([](Param& p) {
                  p.width = p.height = 65535;
                  p.sourceLength = 0xFFFE0001;
                  p.destinationCapacity = 0xFFFFFFFF;
              }),
              KZ_CC_E_RESOURCE);
    EXPECT_THAT(destination, Each(0xEE));
}

struct Decoded {
    Code code;
    std::uint32_t pixelType;
    Bytes pixels;
};
Decoded Decode(const std::uint8_t* source, std::size_t length, std::size_t capacity) {
    const auto input = ExactCopy(source, length);
    const auto output = std::make_unique<std::uint8_t[]>(capacity);
    HbDecodeParam param{};
    param.source = input.get();
    param.sourceLength = static_cast<std::uint32_t>(length);
    param.destination = output.get();
    param.destinationCapacity = static_cast<std::uint32_t>(capacity);
    const Code code = DecompressFrame(param);
    EXPECT_LE(param.decodedLength, capacity);
    return {code, param.decodedPixelType, {output.get(), output.get() + param.decodedLength}};
}
Decoded Decode(const Bytes& source, std::size_t capacity) {
    return Decode(source.data(), source.size(), capacity);
}
Bytes Compress(std::uint32_t pixelType, const Bytes& frame) {
    Bytes compressed(frame.size() + frame.size() / 128 + 13);
    compressed.resize(CompressFrame(pixelType, frame.data(),
                                    static_cast<std::uint32_t>(frame.size()), compressed.data(),
                                    static_cast<std::uint32_t>(compressed.size())));
    return compressed;
}

TEST(FrameCompression, GivesEveryFrameBackAndShrinksPlainOnes) {
    std::mt19937 random(1);
    const std::vector<std::size_t> lengths = {1, 2, 3, 127, 128, 129, 130, 255, 256, 257, 4000};
    for (const auto& [format, bits] : kSources) {
        if (format == kSdkUncompressedColour) {
            continue;
        }
        for (const std::size_t length : lengths) {
            SCOPED_TRACE(testing::Message() << std::hex << format << std::dec << ' ' << length);
            for (const int noise : {0, 1, 2, 256}) {  // plain, runs of all lengths, incompressible
                Bytes frame(length);
                for (std::uint8_t& byte : frame) {
                    byte = static_cast<std::uint8_t>(
                        noise == 0 ? 77 : random() % static_cast<unsigned>(2 * noise));
                }
                const Bytes compressed = Compress(format, frame);
                ASSERT_GE(compressed.size(), 12U);
                const Decoded decoded = Decode(compressed, length);
                EXPECT_EQ(decoded.code, KZ_CC_OK);
                EXPECT_EQ(decoded.pixelType, format);
                EXPECT_EQ(decoded.pixels, frame);
                if (noise == 0) {
                    EXPECT_LT(compressed.size(), 12 + 8 + length / 32);
                }
            }
        }
    }
}

TEST(FrameCompression, EveryCapacityTooSmallIsRefused) {
    const Bytes frame = {1, 2, 3, 50, 60, 10, 10, 10, 10, 200, 7};
    const Bytes compressed = Compress(kMono8, frame);
    for (std::size_t capacity = 0; capacity < compressed.size(); ++capacity) {
        const auto room = std::make_unique<std::uint8_t[]>(capacity);
        EXPECT_EQ(CompressFrame(kMono8, frame.data(), static_cast<std::uint32_t>(frame.size()),
                                room.get(), static_cast<std::uint32_t>(capacity)),
                  0U);
    }
    EXPECT_EQ(Decode(compressed, frame.size() - 1).code, KZ_CC_E_RESOURCE);
    for (std::size_t length = 0; length < compressed.size(); ++length) {
        const Decoded cut = Decode(compressed.data(), length, frame.size());
        EXPECT_EQ(cut.code, KZ_CC_E_NO_DATA) << length;
        EXPECT_EQ(cut.pixelType, 0U);
    }
}

TEST(FrameCompression, HostileFramesStayWithinTheirBounds) {
    HbDecodeParam null{};
    EXPECT_EQ(DecompressFrame(null), KZ_CC_E_PARAMETER);
    EXPECT_EQ(Decode(Bytes(40, 0), 100).code, KZ_CC_E_NOT_SUPPORTED);

    const auto withPackets = [](Bytes packets) {
        Bytes frame = {'K', 'Z', 'F', '1', 0x01, 0x00, 0x08, 0x01, 4, 0, 0, 0};
        frame.insert(frame.end(), packets.begin(), packets.end());
        return Decode(frame, 4).code;
    };
    EXPECT_EQ(withPackets({253, 1, 99}), KZ_CC_OK);     // what follows is ignored
    EXPECT_EQ(withPackets({252, 1}), KZ_CC_E_NO_DATA);  // a run beyond the frame
    EXPECT_EQ(withPackets({4, 1, 2, 3, 4, 5}), KZ_CC_E_NO_DATA);
    EXPECT_EQ(withPackets({128, 1, 253, 1}), KZ_CC_E_NO_DATA);
    EXPECT_EQ(withPackets({253}), KZ_CC_E_NO_DATA);

    // AddressSanitizer is the judge.
    std::mt19937 random(7);
    Bytes frame(600);
    for (std::uint8_t& byte : frame) {
        byte = static_cast<std::uint8_t>(random() % 3);
    }
    const Bytes compressed = Compress(kRGB8, frame);
    unsigned refused = 0;
    for (int round = 0; round < 20'000; ++round) {
        Bytes hostile = compressed;
        for (unsigned changes = 1 + random() % 4; changes > 0; --changes) {
            hostile[4 + random() % (hostile.size() - 4)] = static_cast<std::uint8_t>(random());
        }
        hostile.resize(random() % 4 == 0 ? random() % hostile.size() : hostile.size());
        refused += Decode(hostile, 1 + random() % 700).code != KZ_CC_OK;
    }
    EXPECT_GT(refused, 1000U);
}

}  // namespace
}  // namespace kz

#include "standins/kz_camera_control/simulated/picture.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "camera/sdk/pixel_format.h"
#include "standins/kz_camera_control/frame_compression.h"
#include "standins/kz_camera_control/simulated/pixel_formats.h"

namespace kz {
namespace {

using namespace pixel_format;

constexpr std::uint32_t kPhases = 4;

// Five dots wide, seven high; bit 4 is the leftmost dot.
constexpr std::uint32_t kDigitWidth = 5;
constexpr std::uint32_t kDigitHeight = 7;
constexpr std::uint32_t kDigits = 8;
constexpr std::uint8_t kDigitDots[10][kDigitHeight] = {
    {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E}, {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E},
    {0x0E, 0x11, 0x01, 0x02, 0x04, 0x08, 0x1F}, {0x1F, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0E},
    {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02}, {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E},
    {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E}, {0x1F, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08},
    {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E}, {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C},
};
// The box around the digits, in dots: a margin of one dot on each side, one between digits.
constexpr std::uint32_t kBoxWidth = kDigits * (kDigitWidth + 1) + 1;
constexpr std::uint32_t kBoxHeight = kDigitHeight + 2;

// White, yellow, cyan, green, magenta, red, blue, black.
constexpr std::uint8_t kBars[8][3] = {{235, 235, 235}, {235, 235, 16}, {16, 235, 235},
                                      {16, 235, 16},   {235, 16, 235}, {235, 16, 16},
                                      {16, 16, 235},   {16, 16, 16}};

void PutLittleEndian16(std::uint8_t* destination, std::uint32_t value) {
    destination[0] = static_cast<std::uint8_t>(value);
    destination[1] = static_cast<std::uint8_t>(value >> 8);
}

// The significant bits of a format with two bytes per pixel; 8 for one byte.
std::uint32_t SignificantBits(std::uint32_t format) {
    switch (format) {
        case kMono10:
        case kBayerGR10:
        case kBayerRG10:
        case kBayerGB10:
        case kBayerBG10:
            return 10;
        case kMono12:
        case kBayerGR12:
        case kBayerRG12:
        case kBayerGB12:
        case kBayerBG12:
            return 12;
        case kMono14:
            return 14;
        case kMono16:
            return 16;
        default:
            return 8;
    }
}

// Writes one grey or filter value, widened with zeros below.
void PutSample(std::uint8_t*& destination, std::uint8_t value, std::uint32_t bits) {
    if (bits == 8) {
        *destination++ = value;
    } else {
        PutLittleEndian16(destination, static_cast<std::uint32_t>(value) << (bits - 8));
        destination += 2;
    }
}

// The channels (0 red, 1 green, 2 blue) of a Bayer mosaic's two-by-two tile, row by row; null for
// other formats.
const std::array<std::uint8_t, 4>* BayerTile(std::uint32_t format) {
    static constexpr std::array<std::uint8_t, 4> kGR{1, 0, 2, 1};
    static constexpr std::array<std::uint8_t, 4> kRG{0, 1, 1, 2};
    static constexpr std::array<std::uint8_t, 4> kGB{1, 2, 0, 1};
    static constexpr std::array<std::uint8_t, 4> kBG{2, 1, 1, 0};
    switch (format) {
        case kBayerGR8:
        case kBayerGR10:
        case kBayerGR12:
            return &kGR;
        case kBayerRG8:
        case kBayerRG10:
        case kBayerRG12:
            return &kRG;
        case kBayerGB8:
        case kBayerGB10:
        case kBayerGB12:
            return &kGB;
        case kBayerBG8:
        case kBayerBG10:
        case kBayerBG12:
            return &kBG;
        default:
            return nullptr;
    }
}

std::uint8_t Clamped(float value) {
    return static_cast<std::uint8_t>(std::clamp(value + 0.5F, 0.0F, 255.0F));
}

// Full-range ITU-R BT.601.
std::array<std::uint8_t, 3> ToYuv(const std::uint8_t* rgb) {
    const float r = rgb[0];
    const float g = rgb[1];
    const float b = rgb[2];
    return {Clamped(0.299F * r + 0.587F * g + 0.114F * b),
            Clamped(128.0F - 0.168736F * r - 0.331264F * g + 0.5F * b),
            Clamped(128.0F + 0.5F * r - 0.418688F * g - 0.081312F * b)};
}

std::size_t PackedSize(std::uint32_t width, std::uint32_t rows, std::uint32_t format) {
    return static_cast<std::size_t>(width) * rows * BitsPerPixel(format) / 8;
}

}  // namespace

TestPicture::TestPicture(std::uint32_t width, std::uint32_t height, std::uint32_t pixelType)
    : m_width(width),
      m_height(height),
      m_format(IsCompressed(pixelType) ? pixelType & ~kCompressedBit : pixelType),
      m_compress(IsCompressed(pixelType)),
      m_channels(IsMono(m_format) ? 1 : 3),
      m_digitSize(std::clamp<std::uint32_t>(width / (2 * kBoxWidth), 1, 8)),
      // Even, so that the strip's packed pixels end at a byte boundary.
      m_stripRows(std::min(height, (kBoxHeight + 2) * m_digitSize / 2 * 2)) {
    std::vector<std::uint8_t> painted(static_cast<std::size_t>(width) * height * m_channels);
    const std::size_t stripSize = static_cast<std::size_t>(width) * m_stripRows * m_channels;
    for (std::uint32_t phase = 0; phase < kPhases; ++phase) {
        PaintPattern(phase, painted.data());
        m_strips.emplace_back(painted.begin(),
                              painted.begin() + static_cast<std::ptrdiff_t>(stripSize));
        m_pictures.emplace_back(PackedSize(width, height, m_format));
        Pack(painted.data(), height, m_pictures.back().data());
    }
    if (m_compress) {
        constexpr std::size_t kRoomForIncompressible = 2;
        constexpr std::size_t kRoomForHeader = 4096;
        m_compressed.resize(kRoomForIncompressible * m_pictures.front().size() + kRoomForHeader);
    }
}

std::span<const std::uint8_t> TestPicture::Render(std::uint32_t frameNumber) {
    const std::uint32_t phase = frameNumber % kPhases;
    std::vector<std::uint8_t>& picture = m_pictures[phase];
    m_strip = m_strips[phase];
    PaintNumber(frameNumber);
    Pack(m_strip.data(), m_stripRows, picture.data());
    if (!m_compress) {
        return picture;
    }
    const std::uint32_t length = CompressFrame(
        m_format | kCompressedBit, picture.data(), static_cast<std::uint32_t>(picture.size()),
        m_compressed.data(), static_cast<std::uint32_t>(m_compressed.size()));
    return {m_compressed.data(), length};
}

void TestPicture::PaintPattern(std::uint32_t phase, std::uint8_t* destination) const {
    for (std::uint32_t y = 0; y < m_height; ++y) {
        for (std::uint32_t x = 0; x < m_width; ++x) {
            if (m_channels == 1) {
                *destination++ = static_cast<std::uint8_t>(x + y + phase * 256 / kPhases);
            } else {
                const auto& bar = kBars[(x * 8 / m_width + phase) % 8];
                destination = std::copy(std::begin(bar), std::end(bar), destination);
            }
        }
    }
}

void TestPicture::PaintPixel(std::uint32_t x, std::uint32_t y, std::uint8_t grey) {
    if (x < m_width && y < m_stripRows) {
        std::uint8_t* const pixel =
            &m_strip[(static_cast<std::size_t>(y) * m_width + x) * m_channels];
        std::fill_n(pixel, m_channels, grey);
    }
}

void TestPicture::PaintNumber(std::uint32_t frameNumber) {
    constexpr std::uint8_t kInk = 255;
    constexpr std::uint8_t kPaper = 0;
    std::array<std::uint32_t, kDigits> digits{};
    std::uint32_t rest = frameNumber;
    for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit) {
        *digit = rest % 10;
        rest /= 10;
    }
    for (std::uint32_t y = 0; y < kBoxHeight * m_digitSize; ++y) {
        for (std::uint32_t x = 0; x < kBoxWidth * m_digitSize; ++x) {
            const std::uint32_t column = x / m_digitSize;
            const std::uint32_t row = y / m_digitSize;
            const std::uint32_t digit = column == 0 ? 0 : (column - 1) / (kDigitWidth + 1);
            const std::uint32_t dot = column == 0 ? kDigitWidth : (column - 1) % (kDigitWidth + 1);
            const bool ink =
                dot < kDigitWidth && row >= 1 && row <= kDigitHeight &&
                (kDigitDots[digits[digit]][row - 1] >> (kDigitWidth - 1 - dot) & 1) != 0;
            PaintPixel(x + m_digitSize, y + m_digitSize, ink ? kInk : kPaper);
        }
    }
    // Grey pixels, so that the number survives every exact conversion to Mono8 and RGB8.
    for (std::uint32_t i = 0; i < sizeof frameNumber; ++i) {
        PaintPixel(i, 0, static_cast<std::uint8_t>(frameNumber >> (8 * i)));
    }
}

void TestPicture::Pack(const std::uint8_t* painted, std::uint32_t rows,
                       std::uint8_t* destination) const {
    const std::size_t pixels = static_cast<std::size_t>(m_width) * rows;
    const std::uint32_t bits = SignificantBits(m_format);
    if (const auto* const tile = BayerTile(m_format)) {
        for (std::uint32_t y = 0; y < rows; ++y) {
            for (std::uint32_t x = 0; x < m_width; ++x, painted += 3) {
                PutSample(destination, painted[(*tile)[y % 2 * 2 + x % 2]], bits);
            }
        }
        return;
    }
    switch (m_format) {
        case kMono10Packed:
        case kMono12Packed:
            // Two pixels in three bytes: the upper eight bits of each outside, the lower ones,
            // which are zero here, in the middle.
            for (std::size_t i = 0; i + 1 < pixels; i += 2, destination += 3) {
                destination[0] = painted[i];
                destination[1] = 0;
                destination[2] = painted[i + 1];
            }
            break;
        case kBGR8:
            for (std::size_t i = 0; i < pixels; ++i, painted += 3, destination += 3) {
                destination[0] = painted[2];
                destination[1] = painted[1];
                destination[2] = painted[0];
            }
            break;
        case kYUV422_8:
        case kYUV422_8_UYVY: {
            const std::size_t luma = m_format == kYUV422_8 ? 0 : 1;
            for (std::size_t i = 0; i + 1 < pixels; i += 2, painted += 6, destination += 4) {
                const auto left = ToYuv(painted);
                const auto right = ToYuv(painted + 3);
                destination[luma] = left[0];
                destination[luma + 2] = right[0];
                destination[1 - luma] = static_cast<std::uint8_t>((left[1] + right[1] + 1) / 2);
                destination[3 - luma] = static_cast<std::uint8_t>((left[2] + right[2] + 1) / 2);
            }
            break;
        }
        default:
            if (bits == 8) {
                std::memcpy(destination, painted, pixels * m_channels);
            } else {
                for (std::size_t i = 0; i < pixels; ++i) {
                    PutSample(destination, painted[i], bits);
                }
            }
    }
}

}  // namespace kz

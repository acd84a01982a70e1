// Small picture files, made byte by byte.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace platform::test {

using Colour = std::array<std::uint8_t, 3>;  // red, green, blue

// `rows`: packed samples as the file stores them, top row first; blue before green before red where
// there is no palette. Colour palette where there is one.
struct BmpPicture {
    std::uint32_t width = 0;
    std::uint16_t bits = 24;  // a pixel
    std::vector<Colour> palette{};
    std::vector<std::string> rows{};
    bool topDown = false;
};
[[nodiscard]] std::string Bmp(const BmpPicture& picture);

struct PngPicture {
    std::uint32_t width = 0;
    std::uint8_t bits = 8;  // a sample
    std::uint8_t colourType = 0;
    std::vector<Colour> palette{};
    std::vector<std::string> rows{};
    std::string compressed{};  // the rows as the file stores them; empty: as they are
};
[[nodiscard]] std::string Png(const PngPicture& picture);

// 8 x 8 pixels of one value. `levels`: grey, or luma and the two chromas, or the four inks, which
// `invertedInks` marks as inverted; each 64 to 127 away from the middle, 128, because one code has
// to do for all.
[[nodiscard]] std::string Jpeg(const std::vector<int>& levels, bool invertedInks = false);

// The values of the tags; `blocks`: strips or tiles, as stored.
struct TiffPicture {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint16_t bits = 8;  // a sample
    std::uint16_t samples = 1;
    std::uint16_t photometric = 1;   // 0: zero is white, 1: zero is black, 2: RGB, 3: palette
    std::uint16_t planar = 1;        // 2: each sample in blocks of its own
    std::uint32_t tileSide = 0;      // 0: strips
    std::uint32_t rowsPerStrip = 0;  // 0: all
    std::uint16_t extraSample = 0;   // 2: the last sample is alpha
    std::vector<Colour> palette{};
    std::vector<std::string> blocks{};
    bool bigEndian = false;
    std::uint16_t orientation = 0;  // 0: no tag
};
[[nodiscard]] std::string Tiff(const TiffPicture& picture);

}  // namespace platform::test

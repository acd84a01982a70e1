// Layouts that the decoder of Wine does not take, and damage that it does not survive or
// passes over.

#include <string>
#include <vector>

#include "tests/pictures/image_decoder_test.h"
#include "tests/pictures/picture_files.h"

namespace platform {
namespace {

using namespace std::string_literals;
using test::Tiff;
using test::TiffPicture;

using ImageDecoderOnLinux = test::ImageDecoder;

// Its header and the entries of its palette are shorter.
TEST_F(ImageDecoderOnLinux, ReadsBmpOfTheOldKind) {
    std::string greys;
    for (int grey = 0; grey < 256; ++grey) {
        greys += std::string(3, static_cast<char>(grey));
    }
    Expect("BM"s + std::string(8, '\0') + "\x1A\3\0\0\x0C\0\0\0\2\0\1\0\1\0\x08\0"s + greys +
               "\1\3\0\0"s,
           2, 1, 1, {1, 3});
}

TEST_F(ImageDecoderOnLinux, ReadsTiffWithSamplesApart) {
    TiffPicture apart{2, 2, 8, 3, 2, 2};
    apart.rowsPerStrip = 1;
    apart.blocks = {"\1\2"s, "\3\4"s, "\x11\x12"s, "\x13\x14"s, "\x21\x22"s, "\x23\x24"s};
    Expect(Tiff(apart), 2, 2, 3, {1, 0x11, 0x21, 2, 0x12, 0x22, 3, 0x13, 0x23, 4, 0x14, 0x24});

    TiffPicture greyAndAlpha{2, 1, 8, 2, 1, 2};
    greyAndAlpha.extraSample = 2;
    greyAndAlpha.blocks = {"\5\6"s, "\0\0"s};
    Expect(Tiff(greyAndAlpha), 2, 1, 1, {5, 6});
}

TEST_F(ImageDecoderOnLinux, ReadsTiffOfFewBits) {
    TiffPicture bits{10, 1, 1, 1, 0};
    bits.blocks = {"\xA5\x40"s};
    Expect(Tiff(bits), 10, 1, 1, {0, 255, 0, 255, 255, 0, 255, 0, 255, 0});
    TiffPicture nibbles{3, 1, 4, 1, 1};
    nibbles.blocks = {"\x1F\x80"s};
    Expect(Tiff(nibbles), 3, 1, 1, {17, 255, 136});
}

// Such layouts the library converts.
TEST_F(ImageDecoderOnLinux, ReadsTiffInPrintColours) {
    TiffPicture inks{2, 1, 8, 4, 5};
    inks.blocks = {"\0\0\0\0\xFF\0\0\0"s};
    Expect(Tiff(inks), 2, 1, 3, {255, 255, 255, 0, 255, 255});
    inks.orientation = 3;  // upside down: delivered as stored all the same
    Expect(Tiff(inks), 2, 1, 3, {255, 255, 255, 0, 255, 255});
}

TEST_F(ImageDecoderOnLinux, RefusesTiffThatLies) {
    TiffPicture tiles{16, 16, 8, 1, 1};
    tiles.tileSide = 0x40000000;
    tiles.blocks = {"\1\2\3\4"s};
    ExpectRefusal(Tiff(tiles));
    TiffPicture strips{16, 16, 8, 1, 1};
    strips.rowsPerStrip = 4;
    strips.blocks = {std::string(64, '\1')};
    ExpectRefusal(Tiff(strips));
}

TEST_F(ImageDecoderOnLinux, ReadsJpegInPrintColours) {
    const auto expect = [this](const std::string& file,
                               std::initializer_list<std::uint8_t> colour) {
        test::Pixels pixels;
        for (int i = 0; i < 64; ++i) {
            pixels.insert(pixels.end(), colour);
        }
        Expect(file, 8, 8, 3, pixels);
    };
    const std::vector<int> inks{64, 192, 250, 32};
    expect(test::Jpeg(inks), {191 * 223 / 255, 63 * 223 / 255, 5 * 223 / 255});
    expect(test::Jpeg(inks, true), {64 * 32 / 255, 192 * 32 / 255, 250 * 32 / 255});
}

// The bytes of one row, then some megabytes more, in some kilobytes.
TEST_F(ImageDecoderOnLinux, RefusesPngThatUnpacksToMoreThanItsSize) {
    std::string bits = "11000110000";  // last block, common codes; a zero
    for (int i = 0; i < 20'000; ++i) {
        bits += "1100010100000";  // 258 times the byte before
    }
    bits += std::string(7 + 40, '0');  // end, and a check sum that nobody checks
    std::string compressed = "\x78\x01";
    for (std::size_t i = 0; i < bits.size(); ++i) {
        if (i % 8 == 0) {
            compressed += '\0';
        }
        compressed.back() = static_cast<char>(compressed.back() | (bits[i] - '0') << i % 8);
    }
    ExpectRefusal(test::Png({3, 8, 0, {}, {"\1\2\3"}, compressed}));
}

TEST_F(ImageDecoderOnLinux, RefusesJpegCutShort) {
    const std::string whole = test::Jpeg({200});
    ExpectRefusal(whole.substr(0, whole.size() - 4));  // two bytes of pixels, two that end the file
    ExpectRefusal(whole.substr(0, whole.size() / 2));
    std::string stray = whole;
    const std::size_t firstSegment = static_cast<unsigned char>(whole[5]) + 4U;
    stray.insert(firstSegment, "ab");  // between two markers, where it is skipped
    Expect(stray, 8, 8, 1, test::Pixels(64, 200));
}

TEST_F(ImageDecoderOnLinux, SurvivesDamagedTiff) {
    TiffPicture strips{9, 9, 4, 3, 2};
    strips.rowsPerStrip = 2;
    strips.blocks.assign(5, std::string(28, '\x5A'));
    SurviveDamageTo(Tiff(strips));
    TiffPicture tiles{20, 20, 16, 1, 0};
    tiles.tileSide = 16;
    tiles.blocks.assign(4, std::string(512, '\x33'));
    SurviveDamageTo(Tiff(tiles));
    TiffPicture palette{9, 9, 8, 1, 3};
    palette.palette.assign(256, {1, 2, 3});
    palette.blocks = {std::string(81, '\7')};
    SurviveDamageTo(Tiff(palette));
}

}  // namespace
}  // namespace platform

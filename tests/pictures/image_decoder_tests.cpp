#include "pictures/image_decoder.h"

#include <gmock/gmock.h>

#include <atomic>
#include <thread>

#include "tests/pictures/image_decoder_test.h"
#include "tests/pictures/picture_files.h"
#include "tests/platform/support.h"

namespace platform {
namespace {

using namespace std::string_literals;
using test::Bmp;
using test::Jpeg;
using test::Png;
using test::Tiff;
using test::TiffPicture;
using testing::ElementsAre;

using test::ImageDecoder;
using test::kPlenty;
using test::Pixels;

const std::vector<test::Colour> kGreys{{0, 0, 0}, {90, 90, 90}, {170, 170, 170}, {255, 255, 255}};
const std::vector<test::Colour> kColours{{1, 2, 3}, {40, 50, 60}, {200, 0, 100}, {9, 9, 9}};

// 0, 1, 2 / 3, 2, 1 in two bits each.
const std::vector<std::string> kTwoBitRows{"\x18", "\xE4"};

TEST_F(ImageDecoder, ReadsBmp) {
    const std::vector<std::string> colourRows{"\1\2\3\4\5\6"s, "\x10\x20\x30\x40\x50\x60"s};
    const Pixels colours{3, 2, 1, 6, 5, 4, 0x30, 0x20, 0x10, 0x60, 0x50, 0x40};
    Expect(Bmp({2, 24, {}, colourRows}), 2, 2, 3, colours);
    Expect(Bmp({2, 24, {}, colourRows, true}), 2, 2, 3, colours);
    Expect(Bmp({1, 32, {}, {"\1\2\3\0"s, "\x10\x20\x30\0"s}}), 1, 2, 3,
           {3, 2, 1, 0x30, 0x20, 0x10});
    Expect(Bmp({3, 8, kGreys, {"\0\1\2"s, "\3\2\1"s}}), 3, 2, 1, {0, 90, 170, 255, 170, 90});
    Expect(Bmp({3, 8, kColours, {"\0\1\2"s}}), 3, 1, 3, {1, 2, 3, 40, 50, 60, 200, 0, 100});
    Expect(Bmp({1, 8, {{7, 7, 7}, {5, 5, 6}}, {"\1"s}}), 1, 1, 3, {5, 5, 6});
    Expect(Bmp({3, 4, kGreys, {"\x01\x20"s}}), 3, 1, 1, {0, 90, 170});
    Expect(Bmp({10, 1, {{0, 0, 0}, {255, 255, 255}}, {"\xA5\x40"s}}), 10, 1, 1,
           {255, 0, 255, 0, 0, 255, 0, 255, 0, 255});
}

TEST_F(ImageDecoder, ReadsPng) {
    Expect(Png({3, 8, 0, {}, {"\0\x7F\xFF"s, "\1\2\3"s}}), 3, 2, 1, {0, 127, 255, 1, 2, 3});
    Expect(Png({3, 2, 0, {}, kTwoBitRows}), 3, 2, 1, {0, 85, 170, 255, 170, 85});
    Expect(Png({2, 16, 0, {}, {"\x80\xFF\xFE\x01"s}}), 2, 1, 1, {0x80, 0xFE});
    Expect(Png({2, 8, 2, {}, {"\1\2\3\4\5\6"s}}), 2, 1, 3, {1, 2, 3, 4, 5, 6});
    Expect(Png({1, 16, 2, {}, {"\x80\xFF\x01\x80\xFE\xFF"s}}), 1, 1, 3, {0x80, 0x01, 0xFE});
    Expect(Png({3, 2, 3, kGreys, kTwoBitRows}), 3, 2, 1, {0, 90, 170, 255, 170, 90});
    Expect(Png({2, 8, 3, kColours, {"\2\1"s}}), 2, 1, 3, {200, 0, 100, 40, 50, 60});
}

TEST_F(ImageDecoder, DropsTransparency) {
    Expect(Png({2, 8, 6, {}, {"\1\2\3\x80\4\5\6\0"s}}), 2, 1, 3, {1, 2, 3, 4, 5, 6});
    Expect(Png({2, 8, 4, {}, {"\x11\x80\x22\0"s}}), 2, 1, 1, {0x11, 0x22});
    TiffPicture tiff{2, 1, 8, 4, 2};
    tiff.extraSample = 2;
    tiff.blocks = {"\1\2\3\x80\4\5\6\1"s};
    Expect(Tiff(tiff), 2, 1, 3, {1, 2, 3, 4, 5, 6});
}

TEST_F(ImageDecoder, ReadsJpeg) {
    Expect(Jpeg({200}), 8, 8, 1, Pixels(64, 200));
    Expect(Jpeg({40}), 8, 8, 1, Pixels(64, 40));
    const auto image = Decode(Jpeg({64, 192, 192}));
    ASSERT_TRUE(image) << m_error;
    ASSERT_EQ(image->channels, 3U);
    ASSERT_EQ(image->pixels.size(), 64U * 3);
    EXPECT_NEAR(image->pixels[0], 64 + 1.402 * 64, 2);
    EXPECT_EQ(image->pixels[1], 0);
    EXPECT_NEAR(image->pixels[2], 64 + 1.772 * 64, 2);
}

TEST_F(ImageDecoder, ReadsTiff) {
    TiffPicture grey{3, 2, 8, 1, 1};
    grey.blocks = {"\0\1\x80\xFF\3\4"s};
    Expect(Tiff(grey), 3, 2, 1, {0, 1, 0x80, 0xFF, 3, 4});

    grey.bigEndian = true;
    Expect(Tiff(grey), 3, 2, 1, {0, 1, 0x80, 0xFF, 3, 4});

    TiffPicture inverted = grey;
    inverted.photometric = 0;
    Expect(Tiff(inverted), 3, 2, 1, {255, 254, 0x7F, 0, 252, 251});

    TiffPicture deep{2, 1, 16, 1, 1};
    deep.blocks = {"\xFF\x80\x01\xFE"s};
    Expect(Tiff(deep), 2, 1, 1, {0x80, 0xFE});

    TiffPicture deepColour{1, 1, 16, 3, 2};
    deepColour.blocks = {"\xFF\x80\x80\x01\xFF\xFE"s};
    Expect(Tiff(deepColour), 1, 1, 3, {0x80, 0x01, 0xFE});

    TiffPicture strips{1, 3, 8, 3, 2};
    strips.rowsPerStrip = 2;
    strips.blocks = {"\1\2\3\4\5\6"s, "\7\x8\x9"s};
    Expect(Tiff(strips), 1, 3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9});

    TiffPicture palette{2, 1, 8, 1, 3};
    palette.palette = kColours;
    palette.palette.resize(256);
    palette.blocks = {"\2\1"s};
    Expect(Tiff(palette), 2, 1, 3, {200, 0, 100, 40, 50, 60});
    palette.palette = kGreys;
    palette.palette.resize(256);
    Expect(Tiff(palette), 2, 1, 1, {170, 90});
}

TEST_F(ImageDecoder, ReadsTiledTiff) {
    TiffPicture tiled{18, 17, 8, 1, 1};
    tiled.tileSide = 16;
    for (const char corner : {'\0', '\x40', '\x60', '\x70'}) {
        tiled.blocks.emplace_back(256, corner);
    }
    tiled.blocks[3][1] = '\x33';
    const auto image = Decode(Tiff(tiled));
    ASSERT_TRUE(image) << m_error;
    const auto at = [&image](int x, int y) { return image->pixels[std::size_t(y * 18 + x)]; };
    EXPECT_THAT((Pixels{at(0, 0), at(15, 15), at(16, 0), at(17, 15), at(0, 16), at(15, 16),
                        at(16, 16), at(17, 16)}),
                ElementsAre(0, 0, 0x40, 0x40, 0x60, 0x60, 0x70, 0x33));
}

TEST_F(ImageDecoder, RefusesWhatIsMissingOrNoPicture) {
    EXPECT_FALSE(DecodeImageFile(m_folder.Utf8() + "/missing.bmp", kPlenty, m_error));
    EXPECT_NE(m_error, "");
    m_error.clear();
    EXPECT_FALSE(DecodeImageFile(m_folder.Utf8(), kPlenty, m_error)) << "a folder";
    EXPECT_NE(m_error, "");
    ExpectRefusal("");
    ExpectRefusal("B");
    ExpectRefusal("GIF89a\1\0\1\0\0\0\0;"s);
    ExpectRefusal("just text, as it happens");
}

TEST_F(ImageDecoder, RefusesMoreThanItMayTake) {
    const std::string grey = Bmp({3, 8, kGreys, {"\0\1\2"s, "\3\2\1"s}});
    EXPECT_TRUE(Decode(grey, 6)) << m_error;
    ExpectRefusal(grey, 5);
    const std::string colour = Png({2, 8, 2, {}, {"\1\2\3\4\5\6"s}});
    EXPECT_TRUE(Decode(colour, 6)) << m_error;
    ExpectRefusal(colour, 5);
    ExpectRefusal(Jpeg({200}), 63);

    // Sizes that wrap around in 32 or in 64 bits, and no pixels behind them.
    TiffPicture tiff{0x80000000, 0x80000000, 8, 1, 1};
    tiff.blocks = {"\1\2\3\4"s};
    ExpectRefusal(Tiff(tiff));
    tiff.width = 0x10000;
    tiff.height = 0x10000;
    ExpectRefusal(Tiff(tiff));
    for (const std::uint32_t side : {0x7FFFFFFFU, 0x80000000U, 0x10000U, 0xFFFFFFFFU}) {
        std::string bmp = grey;
        for (int i = 0; i < 4; ++i) {
            bmp[18 + static_cast<std::size_t>(i)] = static_cast<char>(side >> 8 * i);
            bmp[22 + static_cast<std::size_t>(i)] = static_cast<char>(side >> 8 * i);
        }
        ExpectRefusal(bmp);
    }
}

TEST_F(ImageDecoder, RefusesFilesCutShort) {
    TiffPicture tiff{64, 64, 8, 1, 1};
    tiff.blocks = {std::string(64 * 64, 'x')};
    const std::string whole[] = {
        Bmp({64, 8, kGreys, std::vector<std::string>(64, std::string(64, '\1'))}),
        Png({64, 8, 0, {}, std::vector<std::string>(64, std::string(64, '\1'))}), Tiff(tiff)};
    for (const std::string& file : whole) {
        EXPECT_TRUE(Decode(file)) << m_error;
        for (const std::size_t part : {3U, 4U, 5U, 6U, 7U}) {
            ExpectRefusal(file.substr(0, file.size() * part / 8));
        }
        ExpectRefusal(file.substr(0, 20));
    }
}

TEST_F(ImageDecoder, SurvivesDamagedFiles) {
    SurviveDamageTo(Bmp({9, 8, kColours, std::vector<std::string>(9, std::string(9, '\1'))}));
    SurviveDamageTo(Bmp({9, 24, {}, std::vector<std::string>(9, std::string(27, '\1'))}));
    SurviveDamageTo(Png({9, 8, 3, kColours, std::vector<std::string>(9, std::string(9, '\1'))}));
    SurviveDamageTo(Png({9, 16, 6, {}, std::vector<std::string>(9, std::string(72, '\1'))}));
    SurviveDamageTo(Jpeg({64, 192, 192}));
}

TEST_F(ImageDecoder, ServesSeveralThreadsAtOnce) {
    const auto path = m_folder.Path() / "picture";
    test::WriteFile(path, Bmp({3, 8, kGreys, {"\0\1\2"s, "\3\2\1"s}}));
    std::atomic<int> right{0};
    const auto decode = [&right, text = test::ToUtf8Text(path)] {
        for (int round = 0; round < 50; ++round) {
            std::string error;
            const bool isRead = DecodeImageFile(text, 6, error).has_value();
            right += isRead && !DecodeImageFile(text, 5, error) && !error.empty() ? 1 : 0;
        }
    };
    std::thread other(decode);
    decode();
    other.join();
    EXPECT_EQ(right, 100);
}

}  // namespace
}  // namespace platform

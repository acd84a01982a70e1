// Pictures of a folder in place of a camera's frames.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <set>
#include <thread>

#include "camera/sdk/pixel_format.h"
#include "platform/code_page.h"
#include "standins/kz_camera_control/simulated_cameras.h"
#include "tests/pictures/picture_files.h"
#include "tests/platform/support.h"
#include "tests/support/module_host.h"

namespace {

using namespace tests;
using namespace std::chrono_literals;
using platform::test::Bmp;
namespace fs = std::filesystem;

class PictureFolder {
  public:
    explicit PictureFolder(const fs::path& name = "pictures") : m_path(m_root.Path() / name) {
        fs::create_directory(m_path);
    }

    void Write(const fs::path& name, const std::string& bytes) const {
        platform::test::WriteFile(m_path / name, bytes);
    }
    [[nodiscard]] const fs::path& Path() const { return m_path; }
    [[nodiscard]] std::string Text() const { return platform::test::ToUtf8Text(m_path); }

  private:
    platform::test::TemporaryFolder m_root;
    fs::path m_path;
};

// 2 x 1 pixels of one grey value; a value a picture tells the pictures apart.
std::string GreyPicture(std::uint8_t value) {
    std::vector<platform::test::Colour> palette;
    for (int i = 0; i < 256; ++i) {
        const auto grey = static_cast<std::uint8_t>(i);
        palette.push_back({grey, grey, grey});
    }
    const std::string row(2, static_cast<char>(value));
    return Bmp({.width = 2, .bits = 8, .palette = palette, .rows = {row}});
}

class LocalImages : public testing::Test {
  protected:
    LocalImages() { host.Set("DebugMode", "True"); }

    std::uint32_t Scan(const PictureFolder& pictures) {
        return host.Set("FileFolderName", pictures.Text());
    }

    // The first pixel of the next picture; -1: none.
    int Next() {
        const auto image = host.Image();
        if (!image) {
            return -1;
        }
        const int value = image->data[0];
        host.Free(*image);
        return value;
    }

    ModuleHost host{"gige serial=G1 width=64 height=32 rate=200"};
    PictureFolder folder;
};

TEST_F(LocalImages, DecodeEveryKindOfFileAndPassOverTheRest) {
    folder.Write("grey.bmp", GreyPicture(10));
    folder.Write("colour.bmp",
                 Bmp({.width = 2, .rows = {std::string("\3\2\1\6\5\4", 6)}}));  // blue first
    folder.Write("grey.png.txt",
                 platform::test::Png({.width = 3, .rows = {std::string("\24\25\26", 3)}}));
    folder.Write("grey.jpg", platform::test::Jpeg({-100}));
    folder.Write("grey.tiff", platform::test::Tiff(
                                  {.width = 2, .height = 1, .blocks = {std::string("\36\37", 2)}}));
    folder.Write(fs::path(u8"Bild \u00e4\u6f22.jpeg.png"),
                 platform::test::Png({.width = 1, .rows = {std::string("\50", 1)}}));
    folder.Write("broken.bmp", "BM and no picture");
    folder.Write("empty.jpg", "");
    folder.Write("cut.png", platform::test::Png({.width = 1, .rows = {"a"}}).substr(0, 20));
    std::string claims = GreyPicture(1);  // 65,535 x 65,535 pixels, and has no more than two
    claims.replace(18, 8, std::string("\xFF\xFF\0\0\xFF\xFF\0\0", 8));
    folder.Write("claims.bmp", claims);
    folder.Write("UPPER.BMP", GreyPicture(99));
    folder.Write("bmp", GreyPicture(99));
    folder.Write("picture.gif", GreyPicture(99));
    fs::create_directory(folder.Path() / "folder.png");
    ASSERT_EQ(Scan(folder), cam::kOk);

    std::set<std::string> seen;
    for (int i = 0; i < 12; ++i) {
        const auto image = host.Image();
        ASSERT_TRUE(image);
        EXPECT_EQ(image->capacity, 0U);
        ASSERT_NE(image->sharedName, nullptr);
        const bool mono = image->pixelType == pixel_format::kMono8;
        EXPECT_TRUE(mono || image->pixelType == pixel_format::kRGB8);
        EXPECT_EQ(image->dataLength, image->width * image->height * (mono ? 1 : 3));
        std::string text = std::to_string(image->width) + 'x' + std::to_string(image->height);
        for (std::uint32_t b = 0; b < std::min(image->dataLength, 6U); ++b) {
            text += ' ' + std::to_string(image->data[b]);
        }
        seen.insert(text.substr(0, 3) == "8x8" ? "8x8" : text);
        EXPECT_EQ(host.Free(*image), cam::kOk);
    }
    EXPECT_EQ(seen, (std::set<std::string>{"2x1 10 10", "2x1 1 2 3 4 5 6", "3x1 20 21 22", "8x8",
                                           "2x1 30 31", "1x1 40"}));
    for (const char* name : {"broken.bmp", "empty.jpg", "cut.png", "folder.png", "claims.bmp"}) {
        EXPECT_GE(host.LogCount(std::string(name) + "] passed over"), 1U) << name;
    }
    EXPECT_GE(host.LogCount("[ModuId:1] [LocalImages::Decode@"), 5U);
}

TEST_F(LocalImages, RotateFromTheSecondPictureOn) {
    for (std::uint8_t i = 1; i <= 3; ++i) {
        folder.Write(std::to_string(i) + ".bmp", GreyPicture(i));
    }
    ASSERT_EQ(Scan(folder), cam::kOk);
    // With the switch off the first picture of the list stays.
    host.Set("AutoSwitch", "False");
    const int first = Next();
    EXPECT_EQ(Next(), first);
    ASSERT_EQ(Scan(folder), cam::kOk);
    host.Set("AutoSwitch", "True");
    const int second = Next();
    const int third = Next();
    EXPECT_EQ((std::set<int>{first, second, third}), (std::set<int>{1, 2, 3}));
    EXPECT_EQ(Next(), first);
    EXPECT_EQ(Next(), second);
    host.Set("AutoSwitch", "False");
    EXPECT_EQ(Next(), second);
    EXPECT_EQ(Next(), second);
    host.Set("AutoSwitch", "True");
    EXPECT_EQ(Next(), third);
}

TEST_F(LocalImages, StandInForTheCameraUntilSwitchedOff) {
    host.OpenForRequests("G1");
    host.Set("TriggerOff", "");
    const std::uint64_t before = KZSim_FramesDelivered("G1");
    ASSERT_TRUE(Eventually([&] { return KZSim_FramesDelivered("G1") > before + 2; }));
    // No picture, and the camera's frames do not take its place.
    EXPECT_EQ(host.GetStatus("CameraImage"), cam::kNoImage);
    EXPECT_GE(host.LogCount("error nRet = 0XE0000409"), 1U);
    folder.Write("a.bmp", GreyPicture(200));
    ASSERT_EQ(Scan(folder), cam::kOk);
    EXPECT_EQ(Next(), 200);
    host.Set("DebugMode", "False");
    const auto frame = host.TakeImage();
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->width, 64U);
}

TEST_F(LocalImages, FreeADeliveredPictureOnce) {
    folder.Write("a.bmp", GreyPicture(5));
    folder.Write("b.bmp", GreyPicture(6));
    ASSERT_EQ(Scan(folder), cam::kOk);
    const auto first = host.Image();
    const auto second = host.Image();
    ASSERT_TRUE(first && second);
    EXPECT_NE(first->data, second->data);
    EXPECT_EQ(host.Free(*first), cam::kOk);
    EXPECT_EQ(host.Free(*first), cam::kOk);
    cam::BufferNode inside = *second;
    ++inside.data;
    EXPECT_EQ(host.Free(inside), cam::kOk);
    inside.data = nullptr;
    EXPECT_EQ(host.Free(inside), cam::kOk);
    // It is the host's whatever becomes of the folder.
    host.Set("FileFolderName", "/no/such/folder");
    EXPECT_TRUE(second->data[0] == 5 || second->data[0] == 6);
    EXPECT_EQ(host.Free(*second), cam::kOk);
    EXPECT_EQ(host.LogCount("not in the host's hands"), 0U) << "taken for a camera's";
}

TEST_F(LocalImages, RefuseAFolderThatIsNotThere) {
    folder.Write("a.bmp", GreyPicture(5));
    ASSERT_EQ(Scan(folder), cam::kOk);
    ASSERT_EQ(Next(), 5);
    EXPECT_EQ(host.Set("FileFolderName", folder.Text() + "-not"), cam::kNoImageFolder);
    EXPECT_EQ(host.Get("FileFolderName", 260), folder.Text() + "-not");
    EXPECT_EQ(host.GetStatus("CameraImage"), cam::kNoImage);
    EXPECT_EQ(host.Set("FileFolderName", ""), cam::kNoImageFolder);
    EXPECT_EQ(host.Set("FileFolderName", " \t "), cam::kNoImageFolder);
    EXPECT_EQ(host.Set("FileFolderName", folder.Text() + "/a.bmp"), cam::kNoImageFolder);
    EXPECT_EQ(host.Set("FileFolderName", std::string(3000, 'x')), cam::kNoImageFolder);
    EXPECT_EQ(host.Get("FileFolderName", 1024), std::string(259, 'x'));
}

TEST_F(LocalImages, EndAFoldersNameAtItsFirstBlank) {
    folder.Write("a.bmp", GreyPicture(5));
    EXPECT_EQ(host.Set("FileFolderName", folder.Text() + " and more"), cam::kOk);
    EXPECT_EQ(host.Get("FileFolderName"), folder.Text());
    // One picture alone comes over and over.
    EXPECT_EQ(Next(), 5);
    EXPECT_EQ(Next(), 5);
    const PictureFolder blank("with blank");
    blank.Write("b.bmp", GreyPicture(6));
    EXPECT_EQ(Scan(blank), cam::kNoImageFolder);
}

TEST_F(LocalImages, FindAFolderOfAnyName) {
    const PictureFolder named(fs::path(u8"Bilder-\u00e4\u00df-\u6f22"));
    named.Write("a.bmp", GreyPicture(9));
    ASSERT_EQ(Scan(named), cam::kOk);
    EXPECT_EQ(Next(), 9);
}

TEST_F(LocalImages, FindPicturesOfAnyNameInAFolderGivenInTheSystemsCodePage) {
    const PictureFolder named(fs::path(u8"\u00df"));
    const std::string folderText = platform::Utf8ToSystem(named.Text());
    named.Write(fs::path(u8"\u00df.bmp"), GreyPicture(9));
    named.Write(fs::path(u8"\u6f22.bmp"), GreyPicture(9));  // in hardly any code page
    ASSERT_EQ(host.Set("FileFolderName", folderText), cam::kOk);
    EXPECT_EQ(host.Get("FileFolderName"), folderText);
    EXPECT_EQ(Next(), 9);
    EXPECT_EQ(Next(), 9);
    EXPECT_EQ(host.LogCount("passed over"), 0U);
}

TEST_F(LocalImages, HaveNothingToGiveFromAFolderWithoutPictures) {
    ASSERT_EQ(Scan(folder), cam::kOk);
    EXPECT_EQ(host.GetStatus("CameraImage"), cam::kNoImage);
    for (int i = 0; i < 20; ++i) {
        folder.Write(std::to_string(i) + ".png", "broken");
    }
    ASSERT_EQ(Scan(folder), cam::kOk);
    EXPECT_EQ(host.GetStatus("CameraImage"), cam::kNoImage);
    EXPECT_EQ(host.LogCount("passed over"), 20U);
    // Not decoded again and again.
    EXPECT_EQ(host.GetStatus("CameraImage"), cam::kNoImage);
    EXPECT_EQ(host.LogCount("passed over"), 20U);
    const PictureFolder good;
    good.Write("a.bmp", GreyPicture(5));
    ASSERT_EQ(Scan(good), cam::kOk);
    EXPECT_EQ(Next(), 5);
}

TEST_F(LocalImages, ListTenThousandFilesWithoutDecodingThem) {
    folder.Write("0.bmp", GreyPicture(1));
    for (int i = 1; i < 10'000; ++i) {
        std::error_code error;
        const fs::path name = folder.Path() / (std::to_string(i) + ".bmp");
        fs::create_hard_link(folder.Path() / "0.bmp", name, error);
        if (error) {
            folder.Write(name.filename(), GreyPicture(1));
        }
    }
    folder.Write("last.jpg", "broken");
    ASSERT_EQ(Scan(folder), cam::kOk);
    for (int i = 0; i < 50; ++i) {
        ASSERT_EQ(Next(), 1);
    }
    // A few pictures are decoded ahead of the host, not the folder: the broken file may have been
    // met, but nothing was decoded twice.
    EXPECT_LE(host.LogCount("passed over"), 1U);
}

TEST_F(LocalImages, ScanAnewWhilePicturesAreTaken) {
    const PictureFolder other;
    const PictureFolder none;
    folder.Write("a.bmp", GreyPicture(1));
    folder.Write("b.bmp", "broken");
    other.Write("c.bmp", GreyPicture(2));
    other.Write("d.bmp", GreyPicture(2));
    std::atomic<bool> done{false};
    std::atomic<int> wrong{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < 2; ++i) {
        readers.emplace_back([&] {
            while (!done) {
                const int value = Next();
                wrong += value != 1 && value != 2 && value != -1 ? 1 : 0;
            }
        });
    }
    for (int i = 0; i < 60; ++i) {
        Scan(i % 3 == 0 ? folder : i % 3 == 1 ? other : none);
        std::this_thread::sleep_for(2ms);
        // What is scanned is what comes.
        if (i % 3 == 1) {
            EXPECT_EQ(Next(), 2);
        }
    }
    done = true;
    for (std::thread& reader : readers) {
        reader.join();
    }
    EXPECT_EQ(wrong, 0);
    Scan(none);
    EXPECT_EQ(Next(), -1);
}

// A picture that takes a while to decode.
std::string LargePicture(std::size_t height) {
    constexpr std::uint32_t kWidth = 100'000;
    return Bmp(
        {.width = kWidth,
         .rows = std::vector<std::string>(height, std::string(std::size_t{kWidth} * 3, 'p'))});
}

TEST_F(LocalImages, ComeFromTheFolderScannedLast) {
    const PictureFolder other;
    folder.Write("large.bmp", LargePicture(100));
    other.Write("a.bmp", GreyPicture(2));
    ASSERT_EQ(Scan(folder), cam::kOk);
    std::thread early([&] { Next(); });
    std::this_thread::sleep_for(20ms);  // it is being decoded
    ASSERT_EQ(Scan(other), cam::kOk);
    early.join();
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(Next(), 2);
    }
}

TEST_F(LocalImages, EndWhilePicturesAreDecoded) {
    const std::string large = LargePicture(20);
    for (int i = 0; i < 4; ++i) {
        folder.Write(std::to_string(i) + ".bmp", large);
    }
    ASSERT_EQ(Scan(folder), cam::kOk);
    EXPECT_EQ(Next(), 'p');
    host.Module()->DeInit();
    EXPECT_EQ(Next(), -1) << "they are gone with it";
    host.Destroy();
}

}  // namespace

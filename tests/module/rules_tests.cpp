// The rules without state: texts, lists, formats.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "base/log.h"
#include "base/text.h"
#include "camera/camera_list.h"
#include "camera/device_tables.h"
#include "camera/sdk/pixel_format.h"
#include "imaging/frame_rules.h"
#include "params/key_values.h"
#include "params/value_text.h"

namespace {

using namespace cam;

template <std::size_t Size>
void Put(char (&field)[Size], std::string_view text) {
    ASSERT_LE(text.size(), Size);
    std::memcpy(field, text.data(), text.size());
}

CameraDeviceInfo GigE(std::string_view serial, std::string_view userName = "") {
    CameraDeviceInfo record{};
    record.transportType = KZ_TRANSPORT_GIGE;
    Put(record.gige.manufacturerName, "Maker");
    Put(record.gige.modelName, "Model");
    Put(record.gige.serialNumber, serial);
    Put(record.gige.userDefinedName, userName);
    return record;
}

CameraDeviceInfo Usb3(std::string_view serial) {
    CameraDeviceInfo record{};
    record.transportType = KZ_TRANSPORT_USB3;
    Put(record.usb3.manufacturerName, "Maker");
    Put(record.usb3.modelName, "Model");
    Put(record.usb3.serialNumber, serial);
    return record;
}

std::string ListText(const DeviceTables& tables) {
    return MakeCameraList(tables, false, nullptr).text;
}

std::string Nul(std::string text) {
    return text + '\0';
}

// A USB3 camera has one way to the machine: the same serial number again is another camera.
TEST(CameraListText, ListsEveryUsb3Camera) {
    const auto tables = std::make_unique<DeviceTables>();
    tables->plain.Add(Usb3("A"));
    tables->plain.Add(Usb3("A"));
    EXPECT_EQ(ListText(*tables), Nul("0$0$$$$Close\rMaker Model (A)\rMaker Model (A)"));
    const std::string_view connected = "A";
    EXPECT_EQ(MakeCameraList(*tables, false, &connected).text.substr(0, 4), "2$A$");
}

TEST(CameraListText, NamesCamerasBehindGenTLByTheirVendor) {
    const auto tables = std::make_unique<DeviceTables>();
    for (const char* userName : {"", "Line 1"}) {
        GenTLDeviceInfo record{};
        Put(record.vendorName, "Vendor");
        Put(record.modelName, "Model");
        Put(record.serialNumber, "T");
        Put(record.displayName, "not shown");
        Put(record.userDefinedName, userName);
        tables->genTL.Add(record);
    }
    EXPECT_EQ(MakeCameraList(*tables, true, nullptr).text,
              Nul("0$0$$$$Close\rVendor Model (T)\rLine 1 (T)"));
}

TEST(CameraListText, ReadsFieldsWithoutTerminatorNoFurtherThanTheyReach) {
    const auto tables = std::make_unique<DeviceTables>();
    tables->plain.Add(GigE("0123456789ABCDEF", "fedcba9876543210"));
    EXPECT_EQ(ListText(*tables), Nul("0$0$$$$Close\rfedcba9876543210 (0123456789ABCDEF)"));
    tables->plain.Add(GigE("0123456789ABCDEG"));
    tables->plain.Add(GigE("0123456789ABCDEF"));
    EXPECT_EQ(ListText(*tables), Nul("0$0$$$$Close\rfedcba9876543210 (0123456789ABCDEF)\r"
                                     "Maker Model (0123456789ABCDEG)"));
}

TEST(CameraListText, ConvertsUserNamesThatAreNotUtf8) {
    const auto tables = std::make_unique<DeviceTables>();
    tables->plain.Add(GigE("A",
                           "Gr\xC3\xB6\xC3\x9F"
                           "e"));
    tables->plain.Add(GigE("B",
                           "Gr\xF6\xDF"
                           "e"));
    EXPECT_EQ(ListText(*tables), Nul("0$0$$$$Close\rGr\xC3\xB6\xC3\x9F"
                                     "e (A)\r"
                                     "Gr\xC3\xB6\xC3\x9F"
                                     "e (B)"));
}

TEST(CameraListText, KeepsTheSecondOfTwoCarriageReturns) {
    EXPECT_EQ(WithoutEntryEnds("a\rb"), "a b");
    EXPECT_EQ(WithoutEntryEnds("a\r\rb\r"), "a \rb ");
}

TEST(CameraListText, HoldsAsManyCamerasAsTheTable) {
    const auto tables = std::make_unique<DeviceTables>();
    for (int i = 0; i < 300; ++i) {
        EXPECT_EQ(tables->plain.Add(GigE(std::to_string(i))), i < 256);
    }
    EXPECT_NE(ListText(*tables).find("(255)"), std::string::npos);
}

TEST(ValueText, ReadsNumbersAsFarAsTheyGo) {
    EXPECT_EQ(ParseInt("  42$0$100$1$"), 42);
    EXPECT_EQ(ParseInt("\t\r\n\v\f+7"), 7);
    EXPECT_EQ(ParseInt("-7x"), -7);
    EXPECT_EQ(ParseInt("99999999999"), 2147483647);
    EXPECT_EQ(ParseInt("-99999999999"), -2147483647 - 1);
    for (const char* none : {"", " ", "abc", "+", "-", "+-3"}) {
        EXPECT_EQ(ParseInt(none), std::nullopt) << none;
    }
    EXPECT_EQ(ParseFeatureBits("4294967295"), 4294967295U);
    EXPECT_EQ(ParseFeatureBits("-2147483648"), 2147483648U);
    EXPECT_EQ(ParseFeatureBits("4294967296"), std::nullopt);
    EXPECT_EQ(ParseFeatureBits("-2147483649"), std::nullopt);
    EXPECT_EQ(ParseFloat("5000.25$1$2"), 5000.25F);
    EXPECT_EQ(ParseFloat("one"), std::nullopt);
}

TEST(ValueText, TakesLettersOfBothCasesForTheSame) {
    EXPECT_TRUE(EqualsIgnoringCase("AZ@[", "az@["));
    EXPECT_FALSE(EqualsIgnoringCase("@[", "`{"));
}

TEST(ValueText, SizesThePreviewOfNoPictureAsTheLargest) {
    for (const auto& [width, height] : {std::pair{0U, 5U}, std::pair{5U, 0U}}) {
        const PreviewSize size = PreviewSizeOf(width, height);
        EXPECT_EQ(size.width, 600);
        EXPECT_EQ(size.height, 450);
    }
}

TEST(ValueText, IsCutToTheRoomAndTheLimit) {
    for (const auto& [room, limit, expected] :
         {std::tuple{4, 9U, "abc"}, std::tuple{9, 4U, "abc"}, std::tuple{1, 9U, ""}}) {
        char buffer[16] = "~";
        std::uint32_t length = 0;
        Answer(buffer, room, &length).Text("abcdef", limit);
        EXPECT_STREQ(buffer, expected);
    }
}

TEST(ValueText, ReadsNoMoreChoicesThanAFeatureHolds) {
    KZEnumValue lying{};
    lying.supportedCount = 0xFFFFFFFF;
    EXPECT_EQ(FeatureText(lying).size(), 1U + 2U * KZ_MAX_ENUM_ENTRIES);
}

TEST(FrameRules, GiveTheDecoderRoomByTheFirstBitThatMatches) {
    const auto bytes = [](std::uint32_t bits) { return DecodedBytesPerPixel(bits << 16); };
    EXPECT_EQ(bytes(8), 1U);
    EXPECT_EQ(bytes(12), 1U);
    EXPECT_EQ(bytes(16), 2U);
    EXPECT_EQ(bytes(24), 1U);
    EXPECT_EQ(bytes(32), 4U);
    EXPECT_EQ(bytes(48), 2U);
    EXPECT_EQ(bytes(64), 8U);
    EXPECT_EQ(bytes(1), 3U);
    EXPECT_EQ(ImageBytes(65535, 65535, 3), 12'884'508'675ULL);
}

TEST(LogPrefix, NamesTheLibraryWithoutFolderAndLastEnding) {
    EXPECT_EQ(ModuleNameOfPath("C:\\host\\CameraModule.dll", '\\'), "CameraModule");
    EXPECT_EQ(ModuleNameOfPath("C:\\host\\a.b.dll", '\\'), "a.b");
    EXPECT_EQ(ModuleNameOfPath("CameraModule.dll", '\\'), "CameraModule.dll");
    EXPECT_EQ(ModuleNameOfPath("C:\\v1.2\\module", '\\'), "module");
}

}  // namespace

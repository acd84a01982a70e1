// The rules without state: texts, lists, formats.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "camera/camera_list.h"
#include "camera/device_tables.h"
#include "camera/sdk/pixel_format.h"
#include "imaging/frame_rules.h"
#include "module/camera_module.h"
#include "module/log/log.h"
#include "module/shared_values.h"
#include "params/local_images.h"
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

std::string ListText(const DeviceTables& tables, const char* connected = nullptr) {
    const std::string_view serial = connected != nullptr ? connected : "";
    return MakeCameraList(tables, false, connected != nullptr ? &serial : nullptr).text;
}

std::string Nul(std::string text) {
    return text + '\0';
}

TEST(CameraListText, NamesTheSelectionTheSerialAndEveryCamera) {
    const auto tables = std::make_unique<DeviceTables>();
    EXPECT_EQ(ListText(*tables), Nul("0$0$$$$Close"));
    tables->plain.Add(GigE("SN0001", "Cam A"));
    tables->plain.Add(GigE("SN0002"));
    EXPECT_EQ(ListText(*tables, "SN0002"),
              Nul("2$SN0002$$$$Close\rCam A (SN0001)\rMaker Model (SN0002)"));
    EXPECT_FALSE(MakeCameraList(*tables, false, nullptr).connectedListed);
}

TEST(CameraListText, ListsACameraSeenThroughTwoCardsOnce) {
    const auto tables = std::make_unique<DeviceTables>();
    for (const char* serial : {"A", "A", "B"}) {
        tables->plain.Add(GigE(serial));
    }
    EXPECT_EQ(ListText(*tables, "B"), Nul("2$B$$$$Close\rMaker Model (A)\rMaker Model (B)"));
}

// A USB3 camera has one way to the machine: the same serial number again is another camera.
TEST(CameraListText, ListsEveryUsb3Camera) {
    const auto tables = std::make_unique<DeviceTables>();
    tables->plain.Add(Usb3("A"));
    tables->plain.Add(Usb3("A"));
    EXPECT_EQ(ListText(*tables), Nul("0$0$$$$Close\rMaker Model (A)\rMaker Model (A)"));
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

TEST(Selection, IsTheSecondFieldOrAllOfTheValue) {
    EXPECT_EQ(SelectionOf("SN1"), "SN1");
    EXPECT_EQ(SelectionOf("1$0$"), "0");
    EXPECT_EQ(SelectionOf("2$SN2$$$$Close\rA (SN2)"), "SN2");
    EXPECT_EQ(SelectionOf("1$SN1"), "1$SN1");
}

TEST(DeviceRecord, IsFoundByTheSerialOfEitherTransport) {
    const CameraDeviceInfo usb = Usb3("USB9");
    EXPECT_TRUE(HasSerial(usb, "USB9"));
    EXPECT_TRUE(HasSerial(GigE("G1"), "G1"));
    EXPECT_FALSE(HasSerial(GigE("G1"), "G"));
    EXPECT_EQ(IdentityOf(usb).serial, "USB9");
}

TEST(ValueText, ReadsNumbersAsFarAsTheyGo) {
    EXPECT_EQ(ParseInt("  42$0$100$1$"), 42);
    EXPECT_EQ(ParseInt("+7"), 7);
    EXPECT_EQ(ParseInt("-7x"), -7);
    EXPECT_EQ(ParseInt("99999999999"), 2147483647);
    EXPECT_EQ(ParseInt("-99999999999"), -2147483647 - 1);
    for (const char* none : {"", " ", "abc", "+", "-", "+-3"}) {
        EXPECT_EQ(ParseInt(none), std::nullopt) << none;
    }
    EXPECT_EQ(ParseFloat("5000.25$1$2"), 5000.25F);
    EXPECT_EQ(ParseFloat("one"), std::nullopt);
}

TEST(ValueText, TakesOnlyTheWordFalseForFalse) {
    EXPECT_FALSE(ParseBool("False"));
    EXPECT_FALSE(ParseBool("False$$$$$"));
    for (const char* on : {"True", "false", "0", "", "Fals"}) {
        EXPECT_TRUE(ParseBool(on)) << on;
    }
}

TEST(ValueText, WritesTheFormatsOfTheHost) {
    EXPECT_EQ(IntRangeText(7, 0, 100, 1), "7$0$100$1$");
    EXPECT_EQ(FeatureText(KZIntValue{640, 2448, 16, 8, {}}), "640$16$2448$8$1$");
    EXPECT_EQ(FeatureText(KZFloatValue{0.5F, 1000, 0.0F, {}}), "0.500$0.000$1000.000$1.000000$");
    EXPECT_EQ(FeatureText(KZEnumValue{1, 2, {0, 1}, {}}), "1$0$1");
    KZEnumValue lying{};
    lying.supportedCount = 0xFFFFFFFF;
    EXPECT_EQ(FeatureText(lying).size(), 1U + 2U * KZ_MAX_ENUM_ENTRIES);
    EXPECT_EQ(NodeNameOf("Gamma_Smart"), "Gamma");
    EXPECT_EQ(NodeNameOf("ExposureTime"), "ExposureTime");
}

TEST(ValueText, FitsThePreviewIntoItsFrame) {
    const auto size = [](std::uint32_t width, std::uint32_t height) {
        const PreviewSize preview = PreviewSizeOf(width, height);
        return std::pair(preview.width, preview.height);
    };
    EXPECT_EQ(size(4000, 3000), std::pair(600, 450));
    EXPECT_EQ(size(1000, 1000), std::pair(450, 450));
    EXPECT_EQ(size(2000, 1000), std::pair(600, 300));
    EXPECT_EQ(size(0, 1000), std::pair(600, 450));
}

TEST(FrameRules, MakeMonoOfTwelveFormatsAndColourOfTheRest) {
    using namespace pixel_format;
    for (const std::uint32_t mono :
         {kMono8, kMono10, kMono12, kMono16, kMono10Packed, kMono12Packed}) {
        EXPECT_EQ(OutputFormatOf(mono), kMono8);
        EXPECT_EQ(OutputFormatOf(mono | kCompressedBit), kMono8);
        EXPECT_TRUE(IsCompressedFormat(mono | kCompressedBit));
    }
    for (const std::uint32_t colour : {kMono14, kBayerRG8, kRGB8, kYUV422_8, 0U}) {
        EXPECT_EQ(OutputFormatOf(colour), kRGB8);
        EXPECT_FALSE(IsCompressedFormat(colour));
    }
    EXPECT_FALSE(IsCompressedFormat(kSdkUncompressedColour));
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

TEST(NotifyEvent, WithoutAModuleAnswersZero) {
    EXPECT_EQ(CCameraModule::NotifyEvent(kNotifyRelationsChanged, nullptr, nullptr), kOk);
}

TEST(LogPrefix, NamesTheLibraryWithoutFolderAndLastEnding) {
    EXPECT_EQ(ModuleNameOfPath("C:\\host\\CameraModule.dll", '\\'), "CameraModule");
    EXPECT_EQ(ModuleNameOfPath("C:\\host\\a.b.dll", '\\'), "a.b");
    EXPECT_EQ(ModuleNameOfPath("CameraModule.dll", '\\'), "CameraModule.dll");
    EXPECT_EQ(ModuleNameOfPath("C:\\v1.2\\module", '\\'), "module");
}

TEST(LocalImageNames, AreTakenByAnEndingAnywhereInLowerCase) {
    for (const char* taken : {"a.bmp", "c.tiff", "a.png.txt", "x.jpeg", "y.jpg"}) {
        EXPECT_TRUE(IsPictureName(taken)) << taken;
    }
    for (const char* left : {"b.JPG", "bmp", "d.gif"}) {
        EXPECT_FALSE(IsPictureName(left)) << left;
    }
}

TEST(FixedTexts, CutWhatDoesNotFit) {
    FixedText<4> text("abcdef");
    EXPECT_STREQ(text.c_str(), "abc");
    text.Assign("x");
    EXPECT_STREQ(text.c_str(), "x");
    const char unterminated[3] = {'a', 'b', 'c'};
    EXPECT_EQ(FieldText(unterminated), "abc");
}

}  // namespace

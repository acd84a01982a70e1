// What the host reads and writes by key: the module's own keys and the camera's features.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <memory>
#include <thread>

#include "camera/sdk/kz_camera_control.h"
#include "module/log/xalog.h"
#include "platform/code_page.h"
#include "platform/file_system.h"
#include "standins/kz_camera_control/simulated_cameras.h"
#include "tests/platform/support.h"
#include "tests/support/module_host.h"

namespace {

using namespace tests;

constexpr char kGigE[] =
    "gige serial=G1 model=KZ-SIM-G maker=Simulated width=64 height=32 rate=200";
constexpr char kUnreadable[] = "NULL$0$0$1$1$1";

// A buffer of exactly the size the module is told of, so that the sanitizer sees a byte too many.
struct ExactBuffer {
    explicit ExactBuffer(std::size_t count) : bytes(new char[count]), size(count) {
        std::memset(bytes.get(), '~', count);
    }
    [[nodiscard]] std::string All() const { return {bytes.get(), size}; }

    std::unique_ptr<char[]> bytes;
    std::size_t size;
};

std::string Bytes(ModuleHost& host, const std::string& key, std::size_t size) {
    ExactBuffer buffer(size);
    std::uint32_t length = 0;
    host.Module()->GetParam(key.c_str(), buffer.bytes.get(), static_cast<std::int32_t>(size),
                            &length);
    return buffer.All();
}

// A value without a NUL, in a block of exactly its size.
std::uint32_t SetUnterminated(ModuleHost& host, const std::string& key, const std::string& value) {
    ExactBuffer buffer(value.size());
    std::memcpy(buffer.bytes.get(), value.data(), value.size());
    return host.Module()->SetParam(key.c_str(), buffer.bytes.get(),
                                   static_cast<std::int32_t>(value.size()));
}

using Calls = std::vector<std::string>;

// An open camera that waits for requests.
class ParametersOfACamera : public testing::Test {
  protected:
    ParametersOfACamera() {
        host.OpenForRequests("G1");
        host.ClearLog();
        host.ClearReports();
        KZSim_ClearJournal("G1");
    }

    ModuleHost host{kGigE};
};

TEST(Parameters, AreACamerasFeaturesUnlessTheyAreTheModulesOwn) {
    ModuleHost host;
    for (const char* key : {"ExposureTime", "Foo_Bar", "", "imagecachenum", "ImageCacheNumX"}) {
        EXPECT_EQ(host.Get(key), kUnreadable) << key;
        EXPECT_EQ(host.GetStatus(key), cam::kOk) << key;
    }
}

TEST(Parameters, MatchTwoKeysWhereverTheyAreContained) {
    ModuleHost host;
    EXPECT_EQ(host.Set("XIOEnableElectricalLevelY", "1"), cam::kOk);
    EXPECT_EQ(host.Get("IOEnableElectricalLevelX"), "1");
    EXPECT_EQ(host.Set("_CameraMold_", "3"), cam::kOk);
    EXPECT_EQ(host.Get("MyCameraMold"), "3");
    // The earlier row has the key.
    EXPECT_EQ(host.Set("CameraMoldIOEnableElectricalLevel", "0"), cam::kOk);
    EXPECT_EQ(host.Get("IOEnableElectricalLevel"), "0");
    EXPECT_EQ(host.Get("CameraMold"), "3");
}

TEST(Parameters, LeaveWhatIsUnansweredAsItWas) {
    ModuleHost host;
    for (const char* key : {"VendorName", "DynamicInData", "DynamicOutData"}) {
        EXPECT_EQ(Bytes(host, key, 4), "~~~~") << key;
    }
    std::uint32_t length = 77;
    char buffer[16] = "~";
    EXPECT_EQ(host.Module()->GetParam("ReconnectTime", buffer, sizeof buffer, &length), cam::kOk);
    EXPECT_EQ(length, 77U);

    host.Set("Type", "1");
    buffer[0] = '~';
    EXPECT_EQ(host.Module()->GetParam("CameraName", buffer, sizeof buffer, &length), cam::kOk);
    EXPECT_EQ(length, 12U);
    EXPECT_EQ(buffer[0], '~');
}

TEST(Parameters, RefuseMissingArguments) {
    ModuleHost host;
    char buffer[64];
    std::uint32_t length = 0;
    CAbstractUserModule& module = *host.Module();
    EXPECT_EQ(module.GetParam(nullptr, buffer, sizeof buffer, &length), cam::kInvalid);
    EXPECT_EQ(module.GetParam("Type", nullptr, 64, &length), cam::kInvalid);
    EXPECT_EQ(module.GetParam("Type", buffer, sizeof buffer, nullptr), cam::kInvalid);
    EXPECT_EQ(module.SetParam(nullptr, "1", 1), cam::kInvalid);
    EXPECT_EQ(module.SetParam("Type", nullptr, 1), cam::kInvalid);
    EXPECT_EQ(module.SetParam("FreeBuf", nullptr, 64), cam::kInvalid);
}

TEST_F(ParametersOfACamera, NeverWriteBeyondTheGivenSize) {
    EXPECT_EQ(Bytes(host, "AutoSwitch", 5), (std::string{'T', 'r', 'u', 'e', '\0'}));
    EXPECT_EQ(Bytes(host, "ReconnectTime", 1), std::string(1, '\0'));
    EXPECT_EQ(Bytes(host, "ModelName", 4), (std::string{'K', 'Z', '-', '\0'}));
    EXPECT_EQ(Bytes(host, "Width", 4), (std::string{'6', '4', '$', '\0'}));
    EXPECT_EQ(Bytes(host, "VendorName", 3), (std::string{'S', 'i', '\0'}));
    EXPECT_EQ(Bytes(host, "CameraType", 3), "KZ-");
    for (const char* key :
         {"CameraName", "IOEnableElectricalLevel", "SerialNumber", "VendorName", "CameraType",
          "DebugMode", "FileFolderName", "DebugImageBufferCount", "CameraPreviewInfo",
          "CameraErrorInfo", "ConnectIP", "Width", "ExposureTime", "PixelFormat", "ReverseX",
          "DeviceModelName", "NoSuchFeature", "TriggerSoftware"}) {
        for (std::size_t size = 0; size < 24; ++size) {
            Bytes(host, key, size);
        }
        char untouched = '~';
        std::uint32_t length = 0;
        host.Module()->GetParam(key, &untouched, -5, &length);
        EXPECT_EQ(untouched, '~') << key;
    }
    for (std::size_t size = 0; size < 64; size += 21) {
        ExactBuffer small(size);
        std::uint32_t length = 0;
        EXPECT_EQ(host.Module()->GetParam("CameraImage", small.bytes.get(),
                                          static_cast<std::int32_t>(size), &length),
                  cam::kInvalid);
    }
    const auto image = host.TakeImage();
    ASSERT_TRUE(image);
    EXPECT_EQ(image->frameNumber, 1U) << "a record that had no room took a frame";
}

TEST(Parameters, ReadValuesThatNoNulEnds) {
    ModuleHost host;
    EXPECT_EQ(SetUnterminated(host, "ReconnectTime", "77"), cam::kOk);
    EXPECT_EQ(host.Get("ReconnectTime"), "77");
    EXPECT_EQ(SetUnterminated(host, "DebugMode", "False"), cam::kOk);
    EXPECT_EQ(host.Get("DebugMode"), "False$$$$$");
    EXPECT_EQ(SetUnterminated(host, "DebugMode", "Fals"), cam::kOk);
    EXPECT_EQ(host.Get("DebugMode"), "True$$$$$");
    EXPECT_EQ(SetUnterminated(host, "SerialNumber", std::string(200, 'S')), cam::kOk);
    EXPECT_EQ(host.Get("SerialNumber"), std::string(63, 'S'));
    EXPECT_EQ(SetUnterminated(host, "CameraIP", std::string(5000, '9')), cam::kOk);
    EXPECT_EQ(host.Get("CameraIP"), std::string(63, '9'));
    EXPECT_EQ(SetUnterminated(host, "CameraName", std::string(4000, '$')), cam::kOpenFailed);
    EXPECT_EQ(SetUnterminated(host, "LogLevel", "4"), cam::kOk);
    // Without a size the NUL ends it.
    EXPECT_EQ(host.Module()->SetParam("ReconnectTime", "78", 0), cam::kOk);
    EXPECT_EQ(host.Get("ReconnectTime"), "78");
}

TEST(Parameters, ReadBooleansByTheirFirstFiveCharacters) {
    ModuleHost host;
    for (const char* key : {"TriggerStringEnable", "DebugMode", "AutoSwitch",
                            "DropImageWhenTriggerFail", "AutoConnect", "TriggerProcessRunStatus"}) {
        for (const char* on : {"True", "false", "0", "", " False", "FALSE", "Fals"}) {
            host.Set(key, "False");
            EXPECT_EQ(host.Set(key, on), cam::kOk);
            EXPECT_EQ(host.Get(key).substr(0, 4), "True") << key << " = " << on;
        }
        for (const char* off : {"False", "False$$$$$", "Falsehood"}) {
            host.Set(key, "True");
            EXPECT_EQ(host.Set(key, off), cam::kOk);
            EXPECT_EQ(host.Get(key).substr(0, 5), "False") << key << " = " << off;
        }
    }
}

TEST(Parameters, KeepANumberWhenTheTextIsNone) {
    ModuleHost host;
    const std::pair<const char*, const char*> keys[] = {{"ImageCacheNum", ""},
                                                        {"ReconnectTime", ""},
                                                        {"CameraMold", ""},
                                                        {"IOEnableElectricalLevel", ""},
                                                        {"DebugImageSource", ""},
                                                        {"WaitForConnectingTime", ""},
                                                        {"SoftTriggerWaitTime", ""},
                                                        {"Type", ""},
                                                        {"DebugImageBufferCount", "$0$100$1$"},
                                                        {"ExecuteInterval", "$0$10000$1$"}};
    for (const auto& [key, range] : keys) {
        EXPECT_EQ(host.Set(key, " 7$1$2$3$"), cam::kOk);
        for (const char* wrong : {"abc", "", "$5", "-", "+-3"}) {
            EXPECT_EQ(host.Set(key, wrong), cam::kOk);
            EXPECT_EQ(host.Get(key), std::string("7") + range) << key << " = " << wrong;
        }
    }
    host.Set("LogLevel", "3");
    host.Set("ReconnectTime", "a");
    EXPECT_EQ(host.Messages("CCameraModule::SetParam").back(), "W Warning:[a] is not a number");
    host.Set("LogLevel", "4");
}

TEST(Parameters, BoundTheSoftwareTriggersWait) {
    ModuleHost host;
    const std::pair<const char*, const char*> values[] = {
        {"1000", "1000"}, {"1001", "2"}, {"7", "7"}, {"5000", "2"}, {"-1", "2"}, {"0", "0"}};
    for (const auto& [given, kept] : values) {
        host.Set("SoftTriggerWaitTime", given);
        EXPECT_EQ(host.Get("SoftTriggerWaitTime"), kept) << given;
    }
}

TEST(Parameters, ChangeTheLogLevelAndSaySo) {
    ModuleHost host;
    const std::int32_t before = Xalog_GetCurrentLevel();
    host.Set("LogLevel", "2");
    EXPECT_EQ(host.LogCount("[CCameraModule::SetParam@"), 1U);
    EXPECT_EQ(host.LogCount("log level from " + std::to_string(before) + " change to 2"), 1U);
    EXPECT_EQ(Xalog_GetCurrentLevel(), 2);
    host.Set("LogLevel", "abc%s%n");
    EXPECT_EQ(host.LogCount("log level from 2 change to abc%s%n"), 1U);
    EXPECT_EQ(Xalog_GetCurrentLevel(), 0);
    host.Set("LogLevel", std::to_string(before));
}

TEST(Parameters, TakeOnlyGenTLPathsThatExist) {
    ModuleHost host;
    const std::string here = std::filesystem::temp_directory_path().string();
    host.Set("GenTLPath", here + "/no such folder");
    EXPECT_EQ(host.Get("GenTLPath"), "");
    host.Set("GenTLPath", here);
    EXPECT_EQ(host.Get("GenTLPath"), here);
    host.Set("GenTLPath", "");
    EXPECT_EQ(host.Get("GenTLPath"), here);
    host.Set("GenTLPath", here + std::string(3000, 'x'));
    EXPECT_EQ(host.Get("GenTLPath"), here);
    // It exists, but is longer than the module keeps.
    std::string detour = here;
    while (detour.size() <= 300) {
        detour += "/.";
    }
    host.Set("GenTLPath", detour);
    EXPECT_EQ(host.Get("GenTLPath").size(), std::filesystem::exists(detour) ? 259U : here.size());
    host.Set("LogLevel", "2");
    host.Destroy();
    Xalog_ResetLevel(4);
    EXPECT_EQ(host.LogCount("UnloadGenTLLibrary"), 0U) << "they were not used";
}

TEST(Parameters, KeepAGenTLPathInUtf8WhateverItCameIn) {
    const platform::test::TemporaryFolder folder;
    const std::string path = platform::JoinPath(folder.Utf8(), "\xC3\x9F");
    std::filesystem::create_directory(std::u8string(path.begin(), path.end()));
    ModuleHost host;
    for (const std::string& given : {platform::Utf8ToSystem(path), path}) {
        host.Set("GenTLPath", folder.Utf8());
        host.Set("GenTLPath", given);
        EXPECT_EQ(host.Get("GenTLPath"), path) << given;
    }
}

TEST(Parameters, SwitchToGenTLProducersAndBack) {
    ModuleHost host(std::string(kGigE) + "; gentl serial=T1 width=64 height=32");
    host.Set("CameraName", "G1");
    host.ClearReports();
    EXPECT_EQ(host.Set("UseGenTL", "False"), cam::kOk);
    EXPECT_TRUE(host.StateReports().empty());
    EXPECT_EQ(host.Set("UseGenTL", "True"), cam::kOk);
    EXPECT_EQ(host.StateReports(),
              (std::vector<Report>{{kReportCameraState, "1-0-G1"}, {kReportCameraSource, "1"}}));
    EXPECT_EQ(host.Get("UseGenTL"), "True$$$$$");
    EXPECT_EQ(host.Get("SerialNumber"), "G1");
    EXPECT_EQ(host.Get("SmartCameraType"), "-1");
    host.ClearReports();
    EXPECT_EQ(host.Set("UseGenTL", "True"), cam::kOk);
    EXPECT_TRUE(host.StateReports().empty());
    EXPECT_EQ(host.Set("CameraName", "G1"), cam::kOpenFailed);
    EXPECT_EQ(host.Set("CameraName", "T1"), cam::kOk);
    host.ClearReports();
    EXPECT_EQ(host.Set("UseGenTL", "False$$$$$"), cam::kOk);
    EXPECT_EQ(host.StateReports(),
              (std::vector<Report>{{kReportCameraState, "1-0-T1"}, {kReportCameraSource, "2"}}));
    EXPECT_EQ(host.Get("SerialNumber"), "");
}

TEST(Parameters, HaveNothingToCheckWhileNoCameraIsChosen) {
    ModuleHost host(kGigE);
    EXPECT_EQ(host.Set("EnumCamera", ""), cam::kOk);
    EXPECT_EQ(host.Set("CheckCameraOpened", ""), cam::kOpenFailed);
    EXPECT_EQ(host.Set("CameraName", ""), cam::kOpenFailed);
    EXPECT_EQ(host.Get("SmartCameraType"), "-1");

    KZSim_SetFaults("G1", "open=0x80000201");
    EXPECT_EQ(host.Set("CameraName", "x$G1$$"), KZ_CC_E_OPEN_REFUSED);
    EXPECT_EQ(host.Set("CheckCameraOpened", ""), KZ_CC_E_OPEN_REFUSED);
    KZSim_SetFaults("G1", "");
    EXPECT_EQ(host.Set("CheckCameraOpened", ""), cam::kOk);
    EXPECT_EQ(host.Get("SerialNumber"), "G1");
    KZSim_ClearJournal("G1");
    EXPECT_EQ(host.Set("CheckCameraOpened", ""), cam::kOk);
    EXPECT_TRUE(Journal("G1", "KZ_CC_OpenDevice").empty());
}

TEST(Parameters, NeedACameraForItsCommands) {
    ModuleHost host(kGigE);
    EXPECT_EQ(host.Set("TriggerOn", ""), cam::kNoCamera);
    EXPECT_EQ(host.Set("TriggerOff", ""), cam::kNoCamera);
    EXPECT_EQ(host.Set("SaveParams", ""), cam::kNoCamera);
    EXPECT_EQ(host.LogCount("Set UserSetSave failed, nRet:0xe0000001"), 1U);
    EXPECT_EQ(host.Set("SynTriggerSoftware", ""), cam::kInvalid);
    EXPECT_EQ(host.Set("ExposureTime", "100"), cam::kNoCamera);
    EXPECT_EQ(host.Set("ExposureTimeAbs", "100"), cam::kNoCamera);
    EXPECT_EQ(host.Set("NoSuchFeature", "100"), cam::kNoCamera);
    EXPECT_EQ(host.Set("RealTimeImgAcq", "False"), cam::kOk);
    EXPECT_EQ(host.Set("IOEnableElectricalLevel", "1"), cam::kOk);
}

TEST_F(ParametersOfACamera, TellWhoTheCameraIs) {
    EXPECT_EQ(host.Get("VendorName"), "Simulated");
    EXPECT_EQ(host.Get("SmartCameraType"), "1");
    EXPECT_EQ(Bytes(host, "CameraType", 8), "KZ-SI~~~");
    host.Set("CameraName", "0");
    EXPECT_EQ(host.Get("ModelName"), "KZ-SIM-G");
    EXPECT_EQ(Bytes(host, "VendorName", 3), "~~~");
    EXPECT_EQ(host.Get("SmartCameraType"), "-1");
}

TEST(Parameters, CutTheCameraTypeToItsSeries) {
    ModuleHost host(
        "gige serial=A model=KZ-HX310-4C; usb3 serial=B model=KZ-QS200; gige serial=C model=KZ");
    host.Set("CameraName", "A");
    EXPECT_EQ(Bytes(host, "CameraType", 12), "KZ-HX310-4~~");
    host.Set("CameraName", "B");
    EXPECT_EQ(Bytes(host, "CameraType", 6), "KZ-QS~");
    EXPECT_EQ(host.Get("SmartCameraType"), "2");
    host.Set("CameraName", "C");
    EXPECT_EQ(Bytes(host, "CameraType", 6), std::string("KZ\0\0\0~", 6));
}

TEST_F(ParametersOfACamera, ReadFeaturesByTheirType) {
    const std::pair<const char*, const char*> answers[] = {
        {"Width", "64$16$64$2$1$"},
        {"Width_Any_thing", "64$16$64$2$1$"},
        {"ExposureTime", "5000.000$10.000$10000000.000$1.000000$"},
        {"DeviceTemperature", "41.500$-40.000$120.000$1.000000$"},
        {"ReverseX", "False"},
        {"AcquisitionFrameRateEnable", "True"},
        {"DeviceModelName", "KZ-SIM-G"},
        {"TriggerSource", "7$0$1$2$3$4$7$8"},
        {"TriggerSoftware", kUnreadable},
        {"Foo_Bar", kUnreadable},
    };
    for (const auto& [key, answer] : answers) {
        EXPECT_EQ(host.Get(key), answer) << key;
        EXPECT_EQ(host.GetStatus(key), cam::kOk) << key;
    }
    EXPECT_EQ(host.LogCount("[CCameraModule::GetParam@"), 2U);
    EXPECT_TRUE(host.WaitForLog("param is not in node:Foo"));
    EXPECT_EQ(host.LogCount("Foo_Bar"), 0U);
}

TEST_F(ParametersOfACamera, AnswerAFailedReadAsUnreadable) {
    const std::pair<const char*, const char*> reads[] = {{"KZ_CC_GetIntValue", "Width"},
                                                         {"KZ_CC_GetFloatValue", "Gain"},
                                                         {"KZ_CC_GetEnumValue", "TriggerMode"},
                                                         {"KZ_CC_GetBoolValue", "ReverseX"},
                                                         {"KZ_CC_GetStringValue", "DeviceUserID"}};
    for (const auto& [function, key] : reads) {
        KZSim_SetFaults("G1", (std::string("fail=") + function + ":0x80000103").c_str());
        EXPECT_EQ(host.GetStatus(key), cam::kOk) << key;
        EXPECT_EQ(host.Get(key), kUnreadable) << key;
        KZSim_SetFaults("G1", (std::string("fail=") + function + ":0x80000206").c_str());
        EXPECT_EQ(host.GetStatus(key), KZ_CC_E_DEVICE_LOST) << key;
        EXPECT_EQ(host.Get(key), kUnreadable) << key;
    }
    EXPECT_EQ(host.GetStatus("VendorName"), KZ_CC_E_DEVICE_LOST);
}

TEST_F(ParametersOfACamera, WriteFeaturesByTheirType) {
    EXPECT_EQ(host.Set("BlackLevel", "100$0$4095$1$1$"), cam::kOk);
    EXPECT_EQ(host.Set("ReverseX", "tRUE$$$$$"), cam::kOk);
    EXPECT_EQ(host.Set("ReverseY", "yes"), cam::kOk);
    EXPECT_EQ(host.Set("Gamma", "1.5$0.0$4.0$"), cam::kOk);
    EXPECT_EQ(host.Set("DeviceUserID", "left$1"), cam::kOk);
    EXPECT_EQ(host.Set("TriggerActivation_X", "2$0$1$2$3"), cam::kOk);
    EXPECT_EQ(host.Set("TriggerSoftware", ""), cam::kOk);
    EXPECT_EQ(
        Journal("G1"),
        (Calls{"KZ_CC_SetIntValue BlackLevel 100", "KZ_CC_SetBoolValue ReverseX 1",
               "KZ_CC_SetBoolValue ReverseY 0", "KZ_CC_SetFloatValue Gamma 1.5",
               "KZ_CC_SetStringValue DeviceUserID left$1", "KZ_CC_SetEnumValue TriggerActivation 2",
               "KZ_CC_SetCommandValue TriggerSoftware"}));
    EXPECT_EQ(host.Get("BlackLevel"), "100$0$4095$1$1$");
    EXPECT_EQ(host.Get("DeviceUserID"), "left$1");

    EXPECT_EQ(host.Set("NoSuch_Feature", "1"), cam::kOk);
    EXPECT_EQ(host.LogCount("param is not in node:NoSuch"), 1U);
    EXPECT_EQ(host.Set("DeviceModelName", "mine"), KZ_CC_E_NODE_ACCESS);
    EXPECT_EQ(host.LogCount("SetParamValue: Name:DeviceModelName Value:mine nRet:0x80000103"), 1U);
}

TEST_F(ParametersOfACamera, SurviveHostileTexts) {
    const std::string hostile[] = {
        std::string(1023, '$'),   std::string(5000, '9'), "-", "$1", "1e99999", "nan", "%s%n%d",
        std::string("1\0002", 3), std::string(900, 'x')};
    for (const std::string& text : hostile) {
        for (const char* key :
             {"BlackLevel", "ExposureTime", "TriggerMode", "ReverseX", "DeviceUserID",
              "SerialNumberX", "CameraName", "ImageCacheNum", "FileFolderName", "CameraIP",
              "LocalIP", "AddRelateProc", "DelRelateProc", "useLocalPic", "useCamPic"}) {
            SetUnterminated(host, key, text);
        }
        host.Get(text.c_str());
        host.Set(text.c_str(), "1");
    }
    // The camera is still the one that was open, with a value it accepts.
    EXPECT_EQ(host.Get("SmartCameraType"), "1");
    EXPECT_EQ(host.Get("BlackLevel").find(kUnreadable), std::string::npos);
    host.Set("ImageCacheNum", "50");
    EXPECT_EQ(host.Set("ExposureTime", "2000"), cam::kOk);
}

TEST_F(ParametersOfACamera, StopTheStreamOnlyForWhatNeedsIt) {
    for (const char* key : {"Width", "Height", "GevSCPD", "GevSCPSPacketSize",
                            "AcquisitionBurstFrameCount", "PixelFormat"}) {
        ASSERT_TRUE(Eventually([] { return KZSim_DeliverFrame("G1", nullptr, nullptr); }));
        KZSim_ClearJournal("G1");
        const std::string value = host.Get(key);
        EXPECT_EQ(host.Set(key, value), cam::kOk) << key << " = " << value;
        const Calls calls = Journal("G1");
        ASSERT_FALSE(calls.empty());
        EXPECT_EQ(calls[0], "KZ_CC_StopGrabbing") << key;
        EXPECT_TRUE(Eventually([] { return !Journal("G1", "KZ_CC_StartGrabbing").empty(); }));
    }
    ASSERT_TRUE(host.TakeImage());
    KZSim_ClearJournal("G1");
    for (const char* key : {"ExposureTime", "Width_1", "OffsetX"}) {
        host.Set(key, "40");
    }
    EXPECT_TRUE(Journal("G1", "KZ_CC_StopGrabbing").empty());
}

TEST_F(ParametersOfACamera, DoNotWriteWhenTheStreamDoesNotStop) {
    KZSim_SetFaults("G1", "stop=0x80000004");
    EXPECT_EQ(host.Set("Width", "32"), cam::kInvalid);
    EXPECT_TRUE(Journal("G1", "KZ_CC_SetIntValue").empty());
}

TEST_F(ParametersOfACamera, WriteTheSameExposureAndGainOnce) {
    host.Set("ExposureTime", "5000.0");
    host.Set("ExposureTime", "5000.0");
    host.Set("ExposureTime", "5000.009");
    EXPECT_EQ(Journal("G1", "ExposureTime"), (Calls{"KZ_CC_SetFloatValue ExposureTime 5000"}));
    host.Set("ExposureTime", "5000.02");
    host.Set("Gain", "3");
    host.Set("Gain", "3.005");
    host.Set("Gamma", "2");
    host.Set("Gamma", "2");
    EXPECT_EQ(Journal("G1", "ExposureTime").size(), 2U);
    EXPECT_EQ(Journal("G1", "Gain").size(), 1U);
    EXPECT_EQ(Journal("G1", "Gamma").size(), 2U);
    // Another open starts from the camera's own values.
    host.Set("CameraName", "G1");
    KZSim_ClearJournal("G1");
    host.Set("ExposureTime", "5000.02");
    EXPECT_EQ(Journal("G1", "ExposureTime").size(), 1U);
}

TEST_F(ParametersOfACamera, RetryAFloatJustInsideItsRange) {
    KZSim_SetFaults("G1", "range=Gain:1");
    EXPECT_EQ(host.Set("Gain", "2.5"), cam::kOk);
    KZSim_SetFaults("G1", "range=Gamma:2");
    EXPECT_EQ(host.Set("Gamma", "1.5"), cam::kOk);
    EXPECT_EQ(Journal("G1", "KZ_CC_SetFloatValue"),
              (Calls{"KZ_CC_SetFloatValue Gain 2.5", "KZ_CC_SetFloatValue Gain 2.495",
                     "KZ_CC_SetFloatValue Gamma 1.5", "KZ_CC_SetFloatValue Gamma 1.495",
                     "KZ_CC_SetFloatValue Gamma 1.505"}));
    // The value asked for counts as written, not the one that took its place.
    KZSim_ClearJournal("G1");
    EXPECT_EQ(host.Set("Gain", "2.5"), cam::kOk);
    EXPECT_TRUE(Journal("G1").empty());

    KZSim_SetFaults("G1", "range=Gain:3");
    EXPECT_EQ(host.Set("Gain", "7"), KZ_CC_E_NODE_RANGE);
    EXPECT_EQ(Journal("G1", "KZ_CC_SetFloatValue Gain").size(), 3U);
    KZSim_SetFaults("G1", "refuse=Gain:0x80000103");
    KZSim_ClearJournal("G1");
    EXPECT_EQ(host.Set("Gain", "7"), KZ_CC_E_NODE_ACCESS);
    EXPECT_EQ(Journal("G1", "KZ_CC_SetFloatValue Gain").size(), 1U);
    // What was refused is tried again.
    KZSim_SetFaults("G1", "");
    EXPECT_EQ(host.Set("Gain", "7"), cam::kOk);
    EXPECT_EQ(Journal("G1", "KZ_CC_SetFloatValue Gain").size(), 2U);
}

TEST_F(ParametersOfACamera, PassOverOneMakersOwnNames) {
    for (const char* key :
         {"ExposureTimeAbs", "GainRaw", "AcquisitionFrameRateAbs", "TriggerDelayAbs"}) {
        EXPECT_EQ(host.Set(key, "5"), cam::kOk) << key;
        EXPECT_EQ(host.Set(std::string(key) + "X", "5"), cam::kOk);
    }
    EXPECT_TRUE(Journal("G1").empty());
    EXPECT_EQ(host.LogCount("param is not in node:ExposureTimeAbs"), 1U);  // of the one with X
}

TEST_F(ParametersOfACamera, WriteGammaSmartToSmartCamerasOnly) {
    EXPECT_EQ(host.Set("Gamma_Smart", "2"), cam::kOk);
    EXPECT_TRUE(Journal("G1").empty());
    EXPECT_EQ(host.Get("Gamma_Smart"), "1.000$0.000$4.000$1.000000$");
    EXPECT_EQ(host.Set("Gamma_Other", "2"), cam::kOk);
    EXPECT_EQ(Journal("G1", "Gamma").size(), 1U);
}

TEST(Parameters, KnowTheMakerWhoseNamesAreItsOwnAndTheSmartSeries) {
    ModuleHost host(
        "gige serial=B1 maker=Basler model=acB width=64 height=32; gige serial=Q1 model=KZ-QS1");
    host.Set("CameraName", "B1");
    EXPECT_EQ(host.Set("GainRaw", "5"), cam::kOk);
    EXPECT_EQ(host.LogCount("param is not in node:GainRaw"), 1U);
    host.Set("CameraName", "Q1");
    KZSim_ClearJournal("Q1");
    EXPECT_EQ(host.Set("Gamma_Smart", "2"), cam::kOk);
    EXPECT_EQ(Journal("Q1"), (Calls{"KZ_CC_SetFloatValue Gamma 2"}));
}

TEST_F(ParametersOfACamera, ClearTheQueueWhenTheTriggerSourceChanges) {
    for (int i = 0; i < 3; ++i) {
        host.Set("SynTriggerSoftware", "");
    }
    ASSERT_TRUE(host.WaitForReport({kReportFrameArrived, "1-1-3-G1"}));
    KZSim_ClearJournal("G1");
    host.Set("LogLevel", "1");
    EXPECT_EQ(host.Set("TriggerSource", "7"), cam::kOk);
    EXPECT_EQ(host.Messages("CCameraModule::SetParam").back(),
              "I change trigger mode , clear cache");
    host.Set("LogLevel", "4");
    // The next image is a new one: the request had to trigger.
    const auto image = host.TakeImage();
    ASSERT_TRUE(image);
    EXPECT_EQ(image->frameNumber, 4U);
    EXPECT_EQ(Journal("G1", "TriggerSoftware").size(), 1U);
}

TEST_F(ParametersOfACamera, LogTheWayOfAnImageRequest) {
    constexpr char kFunction[] = "CCameraModule::GetParam";
    host.Set("LogLevel", "1");
    host.ClearLog();
    const auto image = host.Image();
    ASSERT_TRUE(image);
    EXPECT_EQ(host.Messages(kFunction),
              (Calls{"D CameraModuleDebug:GetImage Start", "D CameraModuleDebug:GetImage End",
                     "D CameraModuleDebug:Memcpy End",
                     std::string("D CameraImage ") + image->sharedName}));
    host.Free(*image);
    host.Set("CameraName", "0");
    host.ClearLog();
    EXPECT_EQ(host.GetStatus("CameraImage"), cam::kNoImage);
    EXPECT_EQ(host.Messages(kFunction),
              (Calls{"D CameraModuleDebug:GetImage Start",
                     "E Try to wait grabbing state failed when get camera image",
                     "D CameraModuleDebug:GetImage End"}));
    host.Set("LogLevel", "4");
}

TEST_F(ParametersOfACamera, TriggerOnlyOnceAStoppedStreamRunsAgain) {
    for (const std::uint32_t width : {32U, 64U, 32U}) {
        const std::string value = std::to_string(width);
        KZSim_ClearJournal("G1");
        host.Set("Width", value);  // stops the stream; the grab keeper starts it
        const auto image = host.TakeImage();
        ASSERT_TRUE(image);
        EXPECT_EQ(image->width, width);
        EXPECT_EQ(Journal("G1"),
                  (Calls{"KZ_CC_StopGrabbing", "KZ_CC_SetIntValue Width " + value,
                         "KZ_CC_StartGrabbing", "KZ_CC_SetCommandValue TriggerSoftware"}));
    }
    EXPECT_EQ(host.LogCount("Try to wait grabbing state failed"), 0U);
}

TEST_F(ParametersOfACamera, SwitchTheTriggerModeAndSaveTheUserSet) {
    EXPECT_EQ(host.Set("TriggerOff", ""), cam::kOk);
    EXPECT_EQ(host.Set("TriggerOn", ""), cam::kOk);
    EXPECT_EQ(host.Set("SaveParams", ""), cam::kOk);
    EXPECT_EQ(Journal("G1"),
              (Calls{"KZ_CC_SetEnumValue TriggerMode 0", "KZ_CC_SetEnumValue TriggerMode 1",
                     "KZ_CC_SetCommandValue UserSetSave"}));
    KZSim_SetFaults("G1", "refuse=UserSetSave:0x80000103 refuse=TriggerMode:0x80000103");
    EXPECT_EQ(host.Set("SaveParams", ""), cam::kNoCamera);
    EXPECT_EQ(host.LogCount("Set UserSetSave failed, nRet:0x80000103"), 1U);
    EXPECT_EQ(host.Set("TriggerOn", ""), KZ_CC_E_NODE_ACCESS);
}

TEST_F(ParametersOfACamera, CloseTheCameraForAnotherSerialNumber) {
    EXPECT_EQ(host.Set("SerialNumber", "G1"), cam::kOk);
    EXPECT_TRUE(host.StateReports().empty());
    EXPECT_EQ(host.Set("SerialNumber", "OTHER"), cam::kOk);
    EXPECT_EQ(host.StateReports(), (std::vector<Report>{{kReportCameraState, "1-0-G1"}}));
    EXPECT_EQ(host.Get("SerialNumber"), "OTHER");
    EXPECT_EQ(host.Get("SmartCameraType"), "-1");
    host.ClearReports();
    EXPECT_EQ(host.Set("SerialNumber", "THIRD"), cam::kOk);
    EXPECT_TRUE(host.StateReports().empty());
}

TEST_F(ParametersOfACamera, ApplyTheLineLevelAtOnce) {
    EXPECT_EQ(host.Set("CameraMold", "2"), cam::kOk);
    EXPECT_EQ(host.Set("IOEnableElectricalLevel", "1"), cam::kOk);
    EXPECT_EQ(Journal("G1", "Line"),
              (Calls{"KZ_CC_SetEnumValue LineSelector 0", "KZ_CC_SetEnumValue LineMode 8",
                     "KZ_CC_SetBoolValue LineInverter 1", "KZ_CC_SetEnumValue LineSelector 1",
                     "KZ_CC_SetEnumValue LineMode 8", "KZ_CC_SetBoolValue LineInverter 1",
                     "KZ_CC_SetEnumValue LineSelector 2", "KZ_CC_SetEnumValue LineMode 8",
                     "KZ_CC_SetBoolValue LineInverter 1"}));
    KZSim_SetFaults("G1", "refuse=LineMode:0x80000103");
    EXPECT_EQ(host.Set("IOEnableElectricalLevel", "0"), cam::kOk);
    EXPECT_EQ(host.LogCount("Set LineMode failed, nRet 0x80000103."), 1U);
    EXPECT_EQ(Journal("G1", "LineInverter").size(), 3U) << "those of before";
    host.Set("LogLevel", "2");
    host.Set("IOEnableElectricalLevel", "0");
    EXPECT_EQ(host.Messages("CCameraModule::SetParam").back(),
              "I IOEnableElectricalLevel 80000103");
    host.Set("LogLevel", "4");
}

TEST_F(ParametersOfACamera, TakeBackOnlyWholeRecords) {
    const auto image = host.Image();
    ASSERT_TRUE(image);
    const char* const bytes = reinterpret_cast<const char*>(&*image);
    for (const std::int32_t size : {63, 65, 0, -1, 1024}) {
        ExactBuffer record(static_cast<std::size_t>(std::max(size, 64)));
        std::memcpy(record.bytes.get(), bytes, sizeof *image);
        EXPECT_EQ(host.Module()->SetParam("FreeBuf", record.bytes.get(), size), cam::kInvalid)
            << size;
    }
    EXPECT_EQ(host.Free(*image), cam::kOk);
}

TEST(Parameters, CountWhatGotLostAndSizeThePreview) {
    ModuleHost host(
        "gige serial=G width=4000 height=3000 rate=10; gige serial=S width=1000 height=1000; usb3 "
        "serial=U width=2000 height=1000 rate=10");
    host.OpenForRequests("G");
    EXPECT_EQ(host.Get("CameraPreviewInfo"), "0$0$0$0$600$450$G");
    host.Set("CameraName", "S");
    EXPECT_EQ(host.Get("CameraPreviewInfo"), "0$0$0$0$450$450$S");
    host.Set("CameraName", "U");
    EXPECT_EQ(host.Get("CameraPreviewInfo"), "0$0$0$0$600$300$U");
    EXPECT_EQ(host.Get("CameraErrorInfo"), "0$0$0");
    KZSim_SetFaults("U", "fail=KZ_CC_GetAllMatchInfo:0x80000103 fail=KZ_CC_GetWidth:0x80000103");
    EXPECT_EQ(host.Get("CameraPreviewInfo"), "0$0$0$0$600$450$U");
    KZSim_SetFaults("U", "");
    host.Set("CameraName", "0");
    EXPECT_EQ(host.Get("CameraPreviewInfo"), "0$0$0$0$600$450$U");
}

TEST(Parameters, PutEachTransportsStatisticsInItsPlace) {
    struct Case {
        const char* kind;
        const char* expected;
        const char* type;  // 1: opened by address
    };
    for (const auto& [kind, expected, type] :
         {Case{"gige", "0$N$0", "0"}, Case{"usb3", "N$0$0", "0"}, Case{"gige", "0$N$0", "1"}}) {
        ModuleHost host(std::string(kind) + " serial=L width=64 height=32 rate=500");
        // A host that is slow to take notice of a frame loses the next ones.
        host.onReport = [](const Report& report) {
            if (report.code == kReportFrameArrived) {
                std::this_thread::sleep_for(std::chrono::milliseconds(30));
            }
        };
        if (*type == '0') {
            host.OpenForRequests("L");
        } else {
            host.Relate(1);
            host.Set("Type", type);
            host.Set("CameraIP", "10.0.0.2");
            host.Set("LocalIP", "10.0.0.1");
            ASSERT_EQ(host.Set("ConnectIP", "True"), cam::kOk);
        }
        host.Set("TriggerOff", "");
        ASSERT_TRUE(Eventually([&] { return host.Get("CameraErrorInfo") != "0$0$0"; }));
        host.Set("TriggerOn", "");
        std::string pattern = host.Get("CameraErrorInfo");
        const std::string preview = host.Get("CameraPreviewInfo");
        const auto first = pattern.find_first_of("123456789");
        const auto count = std::min(pattern.find('$', first), pattern.size()) - first;
        pattern.replace(first, count, "N");
        EXPECT_EQ(pattern, expected);
        EXPECT_EQ(preview.substr(0, preview.find('$')) == "0", std::string(kind) == "gige");
    }
}

}  // namespace

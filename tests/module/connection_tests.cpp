// Finding, opening, setting up and closing cameras, down to the order of the calls on them.
#include <gmock/gmock.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "base/log.h"
#include "camera/sdk/kz_camera_control.h"
#include "standins/kz_camera_control/simulated_cameras.h"
#include "standins/module_frame/module_frame_host.h"
#include "tests/support/module_host.h"

namespace tests {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;
using ::testing::Not;

constexpr std::uint32_t kFault = 0x80000106;
constexpr char kFaultText[] = "0x80000106";

constexpr char kOpen[] = "CMyCamera::Open";
constexpr char kSelect[] = "CCameraModule::SetDeviceValue";
constexpr char kByAddress[] = "CCameraModule::ConnectCameraByIP";
constexpr char kEnumerate[] = "CCameraModule::EnumDevices";

class Connection : public ::testing::Test {
  protected:
    Connection() { Xalog_ResetLevel(cam::kLogDebug); }
    ~Connection() override {
        KZSim_SetFaults("", "");
        KZSim_SetEnumerationHook(nullptr, nullptr);
        ModuleFrame_FailCalls("CQ_M_ReportData", 0, 0);
        ModuleFrame_FailCalls("CQ_M_SetBinayData", 0, 0);
    }
};

TEST_F(Connection, GigECameraIsBroughtIntoTheModulesConfigurationStepByStep) {
    ModuleHost host("gige serial=A model=KZ-XX", 5);
    EXPECT_EQ(host.Set("CameraName", "A"), cam::kOk);
    EXPECT_THAT(
        Journal("A"),
        ElementsAre(
            "KZ_CC_CreateHandle", "KZ_CC_OpenDevice 3", "KZ_CC_SetIntValue GevSCPSPacketSize 1500",
            "KZ_CC_SetEnumValue LineSelector 1", "KZ_CC_SetEnumValue LineMode 8",
            "KZ_CC_SetBoolValue LineInverter 0", "KZ_CC_SetEnumValue LineSelector 2",
            "KZ_CC_SetEnumValue LineMode 8", "KZ_CC_SetBoolValue LineInverter 0",
            "KZ_CC_SetEnumValueByString UserSetSelector UserSet1",
            "KZ_CC_SetCommandValue UserSetLoad", "KZ_CC_SetIntValue GevHeartbeatTimeout 3000",
            "KZ_CC_StopGrabbing", "KZ_CC_SetEnumValue TriggerMode 1",
            "KZ_CC_RegisterImageCallBackEx", "KZ_CC_RegisterExceptionCallBack",
            "KZ_CC_RegisterEventCallBackEx FrameStart", "KZ_CC_StartGrabbing"));
    EXPECT_THAT(host.Reports(), ElementsAre(Report{kReportCameraState, "5-1-A"}));
    EXPECT_THAT(host.Published(), ElementsAre("CameraOnline=5"));
    EXPECT_THAT(MessagesOf(host.Log(cam::kLogInfo), kSelect),
                ElementsAre("Set GevHeartbeatTimeout 3000."));
    EXPECT_THAT(MessagesOf(host.Log(cam::kLogError), kSelect), ElementsAre("Open success(A)"));
    EXPECT_EQ(host.Get("SerialNumber"), "A");
    EXPECT_EQ(host.Get("ModelName"), "KZ-XX");
    EXPECT_EQ(host.Get("ManufacturerName"), "Simulated");

    KZSim_ClearJournal("A");
    host.ClearReports();
    EXPECT_EQ(host.Set("CameraName", "0"), cam::kOk);
    EXPECT_THAT(Journal("A"),
                ElementsAre("KZ_CC_StopGrabbing", "KZ_CC_CloseDevice", "KZ_CC_DestroyHandle"));
    EXPECT_THAT(host.Reports(), ElementsAre(Report{kReportCameraState, "5-0-A"}));
    EXPECT_EQ(host.Get("SerialNumber"), "A");  // who it was survives closing
}

TEST_F(Connection, HostIsToldBetweenTheStepsOfTheSetUp) {
    std::string beforeReport;
    std::string beforePublication;
    ModuleHost host("gige serial=A");
    const auto reports =
        host.onReport.Attach([&](const Report&) { beforeReport = Journal("A").back(); });
    const auto notices = host.onPublished.Attach(
        [&](const std::string&) { beforePublication = Journal("A").back(); });
    EXPECT_EQ(host.Set("CameraName", "A"), cam::kOk);
    EXPECT_EQ(beforeReport, "KZ_CC_SetIntValue GevSCPSPacketSize 1500");
    EXPECT_EQ(beforePublication, "KZ_CC_SetIntValue GevHeartbeatTimeout 3000");
}

TEST_F(Connection, Usb3CameraHasNeitherPacketSizeNorHeartbeat) {
    ModuleHost host("usb3 serial=U events=0");
    EXPECT_EQ(host.Set("CameraName", "U"), cam::kOk);
    const auto journal = Journal("U");
    EXPECT_THAT(journal, Not(Contains(HasSubstr("Gev"))));
    EXPECT_EQ(journal[1], "KZ_CC_OpenDevice 3");
    EXPECT_EQ(journal.back(), "KZ_CC_StartGrabbing");
    EXPECT_THAT(MessagesOf(host.Log(), kSelect),
                ElementsAre("KZ_CC_SetIntValue GevHeartbeatTimeout failed, nRet 0x80000101.",
                            "Open success(U)"));
}

TEST_F(Connection, HeartbeatThatIsOffStaysOff) {
    ModuleHost host("gige serial=A events=0");
    ASSERT_EQ(host.Set("CameraName", "A"), cam::kOk);
    ASSERT_EQ(host.Set("GevHeartbeatTimeout", "0"), cam::kOk);
    KZSim_ClearJournal("A");
    host.ClearLog();
    EXPECT_EQ(host.Set("CameraName", "A"), cam::kOk);
    EXPECT_THAT(Journal("A"), AllOf(Contains("KZ_CC_SetCommandValue UserSetLoad"),
                                    Not(Contains(HasSubstr("GevHeartbeatTimeout")))));
    EXPECT_THAT(MessagesOf(host.Log(), kSelect), ElementsAre("Open success(A)"));
}

TEST_F(Connection, ModelSeriesChoosesTheLines) {
    struct Case {
        const char* model;
        std::vector<std::string> selectors;
        const char* kind;
    };
    const Case cases[] = {{"KZ-LN4096", {"1", "2", "3", "4"}, "3"},
                          {"KZ-RT20", {"0", "1", "2"}, "2"},
                          {"KZ-ln4096", {"1", "2"}, "1"},
                          {"XKZ-LN", {"1", "2"}, "1"}};
    for (const Case& each : cases) {
        SCOPED_TRACE(each.model);
        ModuleHost host(std::string("gige serial=A model=") + each.model);
        host.Set("IOEnableElectricalLevel", "1");
        KZSim_ClearJournal("A");
        ASSERT_EQ(host.Set("CameraName", "A"), cam::kOk);
        std::vector<std::string> expected;
        for (const std::string& selector : each.selectors) {
            expected.insert(expected.end(),
                            {"KZ_CC_SetEnumValue LineSelector " + selector,
                             "KZ_CC_SetEnumValue LineMode 8", "KZ_CC_SetBoolValue LineInverter 1"});
        }
        EXPECT_THAT(Journal("A", " Line"), ElementsAreArray(expected));
        EXPECT_EQ(host.Get("CameraMold"), each.kind);
    }
}

TEST_F(Connection, FailingStepOfTheSetUpIsLoggedAndPassedOver) {
    struct Case {
        const char* fault;  // "=" stands for the code
        const char* function;
        const char* line;
    };
    constexpr char kLines[] = "CMyCamera::ReverseElecLevel";
    const Case cases[] = {
        {"packet=0", kOpen, "Warning:Get Packet Size fail."},
        {"refuse=GevSCPSPacketSize:", kOpen, "Warning:Set Packet Size 1500 fail nRet 0x80000106."},
        {"refuse=LineSelector:", kLines, "Set LineSelector 1 failed, nRet 0x80000106."},
        {"refuse=LineMode:", kLines, "Set LineMode failed, nRet 0x80000106."},
        {"refuse=LineInverter:", kLines, "Set LineInverter failed, nRet 0x80000106."},
        {"refuse=UserSetSelector:", kSelect,
         "Set UserSetSelector to UserSet1 failed, nRet:0x80000106"},
        {"refuse=UserSetLoad:", kSelect, "Set UserSetLoad failed, nRet:0x80000106"},
        {"fail=KZ_CC_GetIntValue:", kSelect,
         "KZ_CC_SetIntValue GevHeartbeatTimeout failed, nRet 0x80000106."},
        {"refuse=GevHeartbeatTimeout:", kSelect,
         "KZ_CC_SetIntValue GevHeartbeatTimeout failed, nRet 0x80000106."},
        {"stop=", kSelect, "(A)StopGrabbing Error"},
        {"refuse=TriggerMode:", kSelect, "(A)Set TriggerMode failed"},
        {"fail=KZ_CC_RegisterImageCallBackEx:", kSelect, "(A)RegisterImageCallBack failed"},
        {"fail=KZ_CC_RegisterExceptionCallBack:", kSelect, "(A)RegisterExceptionCallBack failed"},
        {"start=", kSelect, "StartGrabbing failed , error code:80000106"}};
    for (const Case& each : cases) {
        SCOPED_TRACE(each.fault);
        ModuleHost host("gige serial=A");
        const std::string fault = each.fault;
        ASSERT_TRUE(
            KZSim_SetFaults("A", (fault.back() == '0' ? fault : fault + kFaultText).c_str()));
        EXPECT_EQ(host.Set("CameraName", "A"), cam::kOk);
        // A camera sends with any packet size, only worse.
        const int level = each.function == kOpen ? cam::kLogWarning : cam::kLogError;
        EXPECT_THAT(MessagesOf(host.Log(level), each.function), Contains(each.line));
        EXPECT_EQ(host.LogCount("Open success(A)"), 1U);
        // The steps behind it are taken all the same.
        EXPECT_THAT(Journal("A"), Contains("KZ_CC_StartGrabbing"));
        EXPECT_THAT(host.Reports(), Contains(Report{kReportCameraState, "1-1-A"}));
        if (fault == "refuse=UserSetSelector:") {
            EXPECT_THAT(Journal("A"), Not(Contains("KZ_CC_SetCommandValue UserSetLoad")));
        }
    }
}

TEST_F(Connection, MissingFrameStartEventIsPrinted) {
    ModuleHost host("gige serial=A events=0");
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(host.Set("CameraName", "A"), cam::kOk);
    EXPECT_THAT(::testing::internal::GetCapturedStdout(),
                HasSubstr("Register Event CallBack fail! nRet [0x80000101]\n"));
}

TEST_F(Connection, RefusedNoticesAreLoggedAndNotRepeated) {
    ModuleHost host("gige serial=A");
    ModuleFrame_FailCalls("CQ_M_ReportData", 0xABC, 1);
    ModuleFrame_FailCalls("CQ_M_SetBinayData", 0xDEF, 1);
    EXPECT_EQ(host.Set("CameraName", "A"), cam::kOk);
    EXPECT_THAT(MessagesOf(host.Log(), kSelect),
                IsSupersetOf({"CQ_M_ReportData Camera On return [abc]",
                              "Send CameraOnline error.nRet:[def]"}));
    ModuleFrame_FailCalls("CQ_M_ReportData", 0xABC, 1);
    EXPECT_EQ(host.Set("CameraName", "0"), cam::kOk);
    EXPECT_THAT(MessagesOf(host.Log(), "CCameraModule::CloseCurCamera"),
                ElementsAre("CQ_M_ReportData Camera Off return [abc]"));
    EXPECT_THAT(host.Reports(), IsEmpty());
    EXPECT_THAT(host.Published(), IsEmpty());
}

TEST_F(Connection, FailedOpenAnswersTheSdksCodeAndLeavesNothingOpen) {
    struct Case {
        const char* fault;
        const char* line;
    };
    for (const Case& each : {Case{"create=", "KZ_CC_CreateHandle failed, nRet 0x80000106."},
                             Case{"open=", "KZ_CC_OpenDevice failed, nRet 0x80000106."}}) {
        SCOPED_TRACE(each.fault);
        ModuleHost host("gige serial=A\nusb3 serial=B");
        ASSERT_EQ(host.Set("CameraName", "B"), cam::kOk);
        KZSim_SetFaults("A", (std::string(each.fault) + kFaultText).c_str());
        host.ClearReports();
        EXPECT_EQ(host.Set("CameraName", "A"), kFault);
        EXPECT_EQ(KZSim_OpenHandles(), 0U);  // the camera before it is closed
        EXPECT_THAT(host.Reports(), ElementsAre(Report{kReportCameraState, "1-0-B"}));
        EXPECT_THAT(MessagesOf(host.Log(), kOpen), ElementsAre(each.line));
        EXPECT_THAT(MessagesOf(host.Log(), kSelect),
                    Contains("(A)Open failed, error code:80000106"));
        EXPECT_EQ(host.LogCount("[ModuId:1] [CMyCamera::Open@"), 1U);
    }
}

TEST_F(Connection, CameraOfAnUnknownTransportIsRefusedAndLeftOpen) {
    // Not a type of its own, though enumerations by either bit find it.
    ModuleHost host("gige serial=A transport=5");
    EXPECT_EQ(host.Set("CameraName", "A"), cam::kNoCamera);
    EXPECT_THAT(MessagesOf(host.Log(cam::kLogError), kSelect),
                ElementsAre("Open failed, camera protocol type not support"));
    EXPECT_EQ(KZSim_OpenHandles(), 1U);
    EXPECT_THAT(host.Reports(), IsEmpty());
    host.Set("SerialNumber", "someone else");  // closes it
    EXPECT_EQ(host.Set("CheckCameraOpened", ""), cam::kOpenFailed) << "it is not tried again";
}

TEST_F(Connection, CameraThatCouldNotBeOpenedIsOpenedWhenItsImageIsWanted) {
    ModuleHost host("gige serial=A width=64 height=48\nusb3 serial=B");
    host.OpenForRequests("B");
    KZSim_SetFaults("A", "open=0x80000201");
    EXPECT_EQ(host.Set("CameraName", "A"), KZ_CC_E_OPEN_REFUSED);
    EXPECT_FALSE(host.Image().has_value());
    EXPECT_THAT(MessagesOf(host.Log(), "CCameraModule::GetImage"),
                Contains("error nRet = 0XE0000409"));
    KZSim_SetFaults("A", "");
    host.ClearReports();
    const auto image = host.Image();
    ASSERT_TRUE(image.has_value());
    EXPECT_EQ(image->width, 64U);
    EXPECT_THAT(host.StateReports(), Contains(Report{kReportCameraState, "1-1-A"}));
}

TEST_F(Connection, LaterOpenOrChoiceOfNoneForgetsTheCameraThatFailed) {
    ModuleHost host("gige serial=A\nusb3 serial=B");
    host.OpenForRequests("B");
    const auto failToOpenA = [&] {
        KZSim_SetFaults("A", "open=0x80000201");
        EXPECT_EQ(host.Set("CameraName", "A"), KZ_CC_E_OPEN_REFUSED);
        KZSim_SetFaults("A", "");
    };
    const auto opensOnDemand = [&] {
        host.ClearLog();
        EXPECT_FALSE(host.Image().has_value());
        return KZSim_OpenHandles() != 0;
    };
    failToOpenA();
    EXPECT_EQ(host.Set("CameraName", "B"), cam::kOk);
    host.Set("SerialNumber", "someone else");  // closes without a choice
    ASSERT_EQ(KZSim_OpenHandles(), 0U);
    EXPECT_FALSE(opensOnDemand());

    failToOpenA();
    EXPECT_EQ(host.Set("CameraName", "0"), cam::kOk);
    EXPECT_FALSE(opensOnDemand());
}

TEST_F(Connection, UnlistedChoiceChangesNothing) {
    ModuleHost host("gige serial=A\nusb3 serial=B");
    KZSim_SetFaults("A", "open=0x80000201");
    EXPECT_EQ(host.Set("CameraName", "A"), KZ_CC_E_OPEN_REFUSED);
    KZSim_SetFaults("A", "");
    EXPECT_EQ(host.Set("CameraName", "NOBODY"), cam::kOpenFailed);
    EXPECT_EQ(host.Set("CheckCameraOpened", "True"), cam::kOk);  // A is still the one wanted
    ASSERT_EQ(KZSim_OpenHandles(), 1U);
    host.ClearReports();
    EXPECT_EQ(host.Set("CameraName", "NOBODY"), cam::kOpenFailed);
    EXPECT_EQ(KZSim_OpenHandles(), 1U);
    EXPECT_THAT(host.StateReports(), IsEmpty());
}

TEST_F(Connection, ChoiceIsTheSecondFieldOfAListValue) {
    ModuleHost host("gige serial=A\nusb3 serial=B");
    EXPECT_EQ(host.Set("CameraName", "0$B$$$$Close\rSimulated KZ (A)"), cam::kOk);
    EXPECT_EQ(host.Get("SerialNumber"), "B");
    EXPECT_EQ(host.Set("CameraName", "1$A"), cam::kOpenFailed);  // one '$': no list value
    host.ClearReports();
    EXPECT_EQ(host.Set("CameraName", "1$0$"), cam::kOk);
    EXPECT_EQ(host.Set("CameraName", "0"), cam::kOk);
    EXPECT_THAT(host.Reports(), ElementsAre(Report{kReportCameraState, "1-0-B"}));
}

TEST_F(Connection, ChoiceListNamesEachCameraOnceAndTheOneThatIsOpen) {
    ModuleHost host(
        "gige serial=G1 name=\"Line 1\" ip=10.0.0.2 nic=10.0.0.1\n"
        "gige serial=G1 name=\"Line 1\" ip=10.0.0.2 nic=10.0.1.1\n"
        "usb3 serial=U1 maker=Maker model=Model\n"
        "gentl serial=T1");
    const std::string entries = "Close\rLine 1 (G1)\rMaker Model (U1)";
    EXPECT_EQ(host.Get("CameraName"), "0$0$$$$" + entries);
    EXPECT_EQ(host.Set("CameraName", "U"), cam::kOpenFailed) << "only the whole number counts";
    ASSERT_EQ(host.Set("CameraName", "U1"), cam::kOk);
    EXPECT_EQ(host.Get("CameraName"), "2$U1$$$$" + entries);
    EXPECT_EQ(host.LogCount("Enum return"), 1U) << "a list that is not empty is read as it is";

    // The length tells the whole text with its terminator, however little the host has room for.
    char few[5] = {'-', '-', '-', '-', '-'};
    std::uint32_t length = 0;
    EXPECT_EQ(host.Module()->GetParam("CameraName", few, 4, &length), cam::kOk);
    EXPECT_EQ(std::string(few, sizeof few), "2$U1-");
    EXPECT_EQ(length, std::string("2$U1$$$$" + entries).size() + 1);
}

TEST_F(Connection, SerialNumbersOfFullLengthAreToldApartByTheirLastCharacter) {
    ModuleHost host("gige serial=0123456789ABCDE1 name=a\ngige serial=0123456789ABCDE2 name=b");
    EXPECT_EQ(host.Get("CameraName"), "0$0$$$$Close\ra (0123456789ABCDE1)\rb (0123456789ABCDE2)");
    EXPECT_EQ(host.Set("CameraName", "0123456789ABCDE2"), cam::kOk);
    EXPECT_EQ(host.Get("SerialNumber"), "0123456789ABCDE2");
}

TEST_F(Connection, FeaturesTakeTheWholeUnsignedRangeAndNothingBeyond) {
    ModuleHost host("gige serial=A");
    ASSERT_EQ(host.Set("CameraName", "A"), cam::kOk);
    KZSim_ClearJournal("A");
    for (const char* key : {"PixelFormat", "Width"}) {
        for (const char* value : {"2164785153", "4294967295"}) {
            host.Set(key, value);  // the camera's own bounds decide
        }
        for (const char* value : {"4294967296", "-2147483649", "99999999999999999999"}) {
            EXPECT_EQ(host.Set(key, value), cam::kInvalid);
        }
    }
    EXPECT_THAT(Journal("A", "Value"), ElementsAre("KZ_CC_SetEnumValue PixelFormat 2164785153",
                                                   "KZ_CC_SetEnumValue PixelFormat 4294967295",
                                                   "KZ_CC_SetIntValue Width 2164785153",
                                                   "KZ_CC_SetIntValue Width 4294967295"));
}

TEST_F(Connection, FailedEnumerationLeavesNoCameraToChoose) {
    ModuleHost host("gige serial=A");
    KZSim_SetFaults("", "fail=KZ_CC_EnumDevices:0x80000106");
    EXPECT_EQ(host.Set("EnumCamera", "True"), kFault);
    EXPECT_THAT(MessagesOf(host.Log(), kEnumerate), Contains("Enum device failed, ret=0x80000106"));
    EXPECT_EQ(host.Get("CameraName"), "0$0$$$$Close");
    EXPECT_EQ(host.Set("CameraName", "A"), cam::kOpenFailed);
    KZSim_SetFaults("", "");
    EXPECT_EQ(host.Set("CameraName", "A"), cam::kOk);  // an empty list is made anew
}

TEST_F(Connection, GenTLInterfaceThatFailsEndsTheWalkAndKeepsWhatWasFound) {
    ModuleHost host(
        "gentl serial=T1 interface=1\ngentl serial=T2 interface=2\ngentl serial=T3 interface=3");
    const std::string path = std::filesystem::temp_directory_path().string();
    EXPECT_EQ(host.Set("GenTLPath", path), cam::kOk);
    EXPECT_EQ(host.Set("UseGenTL", "True$$$$$"), cam::kOk);
    KZSim_SetFaults("", "interface=2:0x80000106");
    host.ClearLog();
    EXPECT_EQ(host.Set("EnumCamera", "True"), kFault);
    EXPECT_THAT(
        MessagesOf(host.Log(), kEnumerate),
        ElementsAre("EnumInterfaces begin, GenTLPath=" + path, "EnumInterfaces finish, ret=0x0",
                    "EnumDevices for interface[0] begin",
                    "EnumDevices for interface[0] finish, ret=0x0",
                    "Interface[0, Simulated interface 1] GenTL device[0]: SIM-T1",
                    "Interface[0, Simulated interface 1] has 1 GenTL devices",
                    "EnumDevices for interface[1] begin",
                    "EnumDevices for interface[1] finish, ret=0x80000106",
                    "Enum GenTL device failed, ret=0x80000106", "Enum return 1 GenTL devices"));
    EXPECT_THAT(host.Get("CameraName"), AllOf(HasSubstr("(T1)"), Not(HasSubstr("(T3)"))));

    EXPECT_EQ(host.Set("CameraName", "T1"), cam::kOk);
    const auto journal = Journal("T1");
    ASSERT_GT(journal.size(), 2U);
    EXPECT_EQ(journal[0], "KZ_CC_CreateHandleByGenTL");
    EXPECT_EQ(journal[1], "KZ_CC_OpenDevice 1");
    EXPECT_EQ(journal[2], "KZ_CC_SetEnumValue LineSelector 1");
    host.Relate(1);
    host.Set("TriggerSoftware", "");
    EXPECT_TRUE(host.WaitForReport({kReportFrameArrived, "1-1-1-T1"}));

    KZSim_SetFaults("", "fail=KZ_CC_EnumInterfacesByGenTL:0x80000106");
    host.ClearLog();
    EXPECT_EQ(host.Set("EnumCamera", "True"), kFault);
    EXPECT_THAT(MessagesOf(host.Log(), kEnumerate),
                ElementsAre("EnumInterfaces begin, GenTLPath=" + path,
                            "EnumInterfaces finish, ret=0x80000106",
                            "Enum GenTL interface failed, ret=0x80000106"));
    // Missing from the list, it is not lost: an interface that failed may still carry it.
    EXPECT_EQ(host.Get("CameraName"), "0$T1$$$$Close");
    EXPECT_EQ(KZSim_OpenHandles(), 1U);
    host.ClearLog();
    host.Destroy();
    EXPECT_EQ(host.LogCount("UnloadGenTLLibrary " + path), 1U);
}

// 300 claimed where 256 have room, the first of them null.
TEST_F(Connection, DeviceListsAreReadNoFurtherThanTheyReach) {
    ModuleHost host("gige serial=A\ngentl serial=T1");
    KZSim_SetFaults("", "list=300");
    host.ClearLog();
    EXPECT_EQ(host.Set("EnumCamera", "True"), cam::kOk);
    EXPECT_EQ(host.Get("CameraName"), "0$0$$$$Close\rSimulated KZ-SIM-G (A)");
    host.Set("UseGenTL", "True");
    EXPECT_EQ(host.Set("EnumCamera", "True"), cam::kOk);
    EXPECT_THAT(
        host.Messages(kEnumerate),
        ElementsAre("E Enum return 256 devices", "E EnumInterfaces begin, GenTLPath=",
                    "E EnumInterfaces finish, ret=0x0", "E EnumDevices for interface[1] begin",
                    "E EnumDevices for interface[1] finish, ret=0x0",
                    "E Interface[1, Simulated interface 1] GenTL device[1]: SIM-T1",
                    "E Interface[1, Simulated interface 1] has 1 GenTL devices",
                    "E Enum return 1 GenTL devices"));
    host.Destroy();
    EXPECT_EQ(host.LogCount("UnloadGenTLLibrary"), 0U) << "no path, no producers";
}

TEST_F(Connection, EnumerationAskedForInsideAnEnumerationIsPassedOver) {
    ModuleHost host("gige serial=A");
    struct Nested {
        ModuleHost& host;
        int calls;
        std::uint32_t status;
    } nested{host, 0, kFault};
    KZSim_SetEnumerationHook(
        [](void* user) {
            auto& inside = *static_cast<Nested*>(user);
            ++inside.calls;
            inside.status = inside.host.Set("EnumCamera", "True");
        },
        &nested);
    host.ClearLog();
    EXPECT_EQ(host.Set("EnumCamera", "True"), cam::kOk);
    EXPECT_EQ(nested.calls, 1);
    EXPECT_EQ(nested.status, cam::kOk);
    EXPECT_THAT(MessagesOf(host.Log(), kEnumerate),
                ElementsAre("Enum device is working now", "Enum return 1 devices"));
}

class ConnectionByAddress : public Connection {
  protected:
    // A camera is open; then cameras are addressed.
    ConnectionByAddress() {
        host.Set("CameraName", "B");
        host.Set("Type", "1");
        host.ClearReports();
        host.ClearLog();
    }

    std::uint32_t Connect(const char* camera, const char* card) {
        host.Set("CameraIP", camera);
        host.Set("LocalIP", card);
        return host.Set("ConnectIP", "True");
    }

    ModuleHost host{
        "gige serial=A model=KZ-LN1 width=64 height=48 ip=192.168.1.100 nic=192.168.1.1 "
        "format=BayerRG8\nusb3 serial=B model=KZ-RT1"};
};

TEST_F(ConnectionByAddress, OpensAndSetsUpInItsOwnOrder) {
    EXPECT_EQ(Connect("192.168.1.100", "192.168.1.1"), cam::kOk);
    EXPECT_THAT(
        Journal("A"),
        ElementsAre("KZ_CC_CreateHandle", "KZ_CC_OpenDevice 3",
                    "KZ_CC_SetIntValue GevSCPSPacketSize 1500",
                    // The lines of the camera before it.
                    "KZ_CC_SetEnumValue LineSelector 0", "KZ_CC_SetEnumValue LineMode 8",
                    "KZ_CC_SetBoolValue LineInverter 0", "KZ_CC_SetEnumValue LineSelector 1",
                    "KZ_CC_SetEnumValue LineMode 8", "KZ_CC_SetBoolValue LineInverter 0",
                    "KZ_CC_SetEnumValue LineSelector 2", "KZ_CC_SetEnumValue LineMode 8",
                    "KZ_CC_SetBoolValue LineInverter 0", "KZ_CC_StopGrabbing",
                    "KZ_CC_SetBoolValue AcquisitionFrameRateEnable 1",
                    "KZ_CC_SetBoolValue AcquisitionLineRateEnable 1",
                    "KZ_CC_SetEnumValue PixelFormat 17301505", "KZ_CC_SetEnumValue TriggerMode 1",
                    "KZ_CC_RegisterImageCallBackEx", "KZ_CC_RegisterExceptionCallBack",
                    "KZ_CC_StartGrabbing"));
    // Going off line is told, coming on line is only published.
    EXPECT_THAT(host.Reports(), ElementsAre(Report{kReportCameraState, "1-0-B"}));
    EXPECT_THAT(host.Published(), ElementsAre("CameraOnline=1", "CameraOnline=1"));
    EXPECT_EQ(host.Get("SerialNumber"), "");
    EXPECT_EQ(host.Get("ManufacturerName"), "");
    EXPECT_EQ(host.Get("ModelName"), "KZ-LN1");
    EXPECT_EQ(host.Get("ConnectIP"), "True");

    EXPECT_EQ(host.Set("ConnectIP", "False"), cam::kOk);
    EXPECT_EQ(KZSim_OpenHandles(), 0U);
    EXPECT_EQ(host.Get("ConnectIP"), "False");
    // Nor does a load expect it any more.
    host.Set("WaitForConnectingTime", "1");
    EXPECT_EQ(host.Module()->LoadModuleData(RecordOf({}).get()), cam::kOk);
    EXPECT_EQ(host.LogCount("connecting finished"), 0U);
}

TEST_F(ConnectionByAddress, FailingStepIsLoggedAndPassedOver) {
    KZSim_SetFaults("A",
                    "refuse=AcquisitionFrameRateEnable:1 refuse=AcquisitionLineRateEnable:1 "
                    "refuse=PixelFormat:1 refuse=TriggerMode:1 fail=KZ_CC_GetStringValue:0x1 "
                    "stop=0x3 start=0x2");
    EXPECT_EQ(Connect("192.168.1.100", "192.168.1.1"), cam::kOk);
    EXPECT_THAT(MessagesOf(host.Log(), kByAddress),
                ElementsAre("KZ_CC_GetStringValue DeviceModelName failed, nRet 0x1",
                            "()StopGrabbing Error", "()Set AcquisitionFrameRateEnable failed",
                            "()Set AcquisitionLineRateEnable failed", "()Set PixelFormat failed",
                            "()Set TriggerMode failed", "StartGrabbing failed , error code:2",
                            "Open success()"));
}

TEST_F(ConnectionByAddress, NothingChangesWithoutBothAddressesAndTheirType) {
    EXPECT_EQ(Connect("192.168.1.100", ""), cam::kInvalid);
    EXPECT_EQ(Connect("", "192.168.1.1"), cam::kInvalid);
    host.Set("Type", "0");
    EXPECT_EQ(Connect("192.168.1.100", "192.168.1.1"), cam::kOk);
    EXPECT_THAT(Journal("A"), IsEmpty());
    EXPECT_EQ(KZSim_OpenHandles(), 1U);
    EXPECT_THAT(host.StateReports(), IsEmpty());
}

TEST_F(ConnectionByAddress, TooLongAddressIsRefusedAfterTheCameraWasClosed) {
    EXPECT_EQ(Connect("192.168.001.10000", "192.168.1.1"), cam::kInvalid);  // 17 characters
    EXPECT_EQ(KZSim_OpenHandles(), 0U);
    EXPECT_THAT(host.Reports(), ElementsAre(Report{kReportCameraState, "1-0-B"}));
    for (const char* local : {"192.168.001.00001", "192.168.1.256", "192.168.1", "1.2.3.4.5"}) {
        EXPECT_EQ(Connect("192.168.1.100", local), cam::kInvalid) << local;
    }
    EXPECT_EQ(Connect("192.168.001.100", "192.168.1.1"), cam::kOk);
}

TEST_F(ConnectionByAddress, NobodyAtTheAddressAnswersTheSdksCode) {
    EXPECT_EQ(Connect("10.9.9.9", "192.168.1.1"), KZ_CC_E_DEVICE_LOST);
    EXPECT_THAT(MessagesOf(host.Log(), kByAddress),
                ElementsAre("(10.9.9.9)Open failed, error code:80000206"));
    EXPECT_EQ(host.Get("ConnectIP"), "False");
}

// It has no serial number, so the list never holds it.
TEST_F(ConnectionByAddress, IsNotTakenForLostByTheList) {
    ASSERT_EQ(Connect("192.168.1.100", "192.168.1.1"), cam::kOk);
    host.Set("Type", "0");
    EXPECT_THAT(host.Get("CameraName"), HasSubstr("0$$$$$Close\r"));
    EXPECT_EQ(KZSim_OpenHandles(), 1U);
    // One that is chosen behind it and opens only at the second attempt is no address's any more.
    KZSim_SetFaults("A", "open=0x80000201");
    EXPECT_EQ(host.Set("CameraName", "A"), KZ_CC_E_OPEN_REFUSED);
    KZSim_SetFaults("A", "");
    EXPECT_EQ(host.Set("CheckCameraOpened", "True"), cam::kOk);
    EXPECT_EQ(host.Get("ConnectIP"), "False");
}

TEST_F(Connection, RealTimeModeBypassesTheModuleAndIsTakenUpAgain) {
    ModuleHost host("gige serial=A width=64 height=48 rate=200 events=0\nusb3 serial=B");
    host.onLog = [](const std::string& line) {
        if (line.find("SetTransmission Error") != line.npos) {
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
        }
    };
    host.OpenForRequests("A");
    KZSim_ClearJournal("A");
    EXPECT_EQ(host.Set("RealTimeImgAcq", "False"), cam::kOk);
    EXPECT_THAT(Journal("A"), IsEmpty());
    EXPECT_EQ(host.Set("RealTimeImgAcq", "True"), cam::kOk);
    EXPECT_THAT(
        Journal("A"),
        IsSupersetOf({"KZ_CC_StopGrabbing", "KZ_GIGE_SetTransmissionType 65537",
                      "KZ_CC_SetBoolValue TriggerMode 0", "KZ_CC_SetEnumValue TriggerMode 0"}));
    host.ClearReports();
    const auto before = KZSim_FramesDelivered("A");
    // The grab keeper restarts the camera, now without trigger.
    EXPECT_TRUE(Eventually([&] { return KZSim_FramesDelivered("A") > before + 3; }));
    EXPECT_THAT(host.Reports(), IsEmpty());

    host.Set("CameraName", "B");
    KZSim_ClearJournal("A");
    host.Set("CameraName", "A");
    const auto journal = Journal("A");
    ASSERT_GT(journal.size(), 5U);
    EXPECT_THAT(std::vector<std::string>(journal.end() - 5, journal.end()),
                ElementsAre("KZ_CC_StopGrabbing", "KZ_GIGE_SetTransmissionType 65537",
                            "KZ_CC_SetBoolValue TriggerMode 0", "KZ_CC_SetEnumValue TriggerMode 0",
                            "KZ_CC_StartGrabbing"));

    KZSim_ClearJournal("A");
    EXPECT_EQ(host.Set("RealTimeImgAcq", "False"), cam::kOk);
    auto left = Journal("A");
    std::erase(left, "KZ_CC_StartGrabbing");  // the grab keeper's
    EXPECT_THAT(left,
                ElementsAre("KZ_CC_StopGrabbing", "KZ_CC_SetBoolValue TriggerMode 1",
                            "KZ_CC_SetEnumValue TriggerMode 1", "KZ_GIGE_SetTransmissionType 0"));
    EXPECT_TRUE(host.Image().has_value());

    // While the camera is switched, here for longer than a round of the grab keeper, that waits.
    KZSim_SetFaults("A", "fail=KZ_GIGE_SetTransmissionType:0x1");
    KZSim_ClearJournal("A");
    EXPECT_EQ(host.Set("RealTimeImgAcq", "True"), cam::kOk);
    auto switched = Journal("A");
    switched.resize(4);
    EXPECT_THAT(switched, ElementsAre("KZ_CC_StopGrabbing", "KZ_GIGE_SetTransmissionType 65537",
                                      "KZ_CC_SetBoolValue TriggerMode 0",
                                      "KZ_CC_SetEnumValue TriggerMode 0"));
}

}  // namespace
}  // namespace tests

// A module from CreateModule to DestroyModule, as the host sees it.
#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <set>
#include <thread>

#include "base/log.h"
#include "camera/sdk/kz_camera_control.h"
#include "standins/kz_camera_control/simulated_cameras.h"
#include "standins/module_frame/module_frame_host.h"
#include "tests/platform/support.h"
#include "tests/support/module_host.h"

namespace tests {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr std::uint32_t kFrameworkFault = 0xE1234567;

const char* const kFrameworkFunctions[] = {
    "CQ_M_GetModuleId",           "CQ_M_GetCreateModuleCause",     "CQ_M_GetDefaultConfigByFile",
    "CQ_M_SetLastError",          "CQ_M_NotifyIncGlobalCameraNum", "CQ_M_NotifyDecGlobalCameraNum",
    "CQ_M_SetNotifyEventCallback"};

std::vector<std::uint64_t> FrameworkCalls() {
    std::vector<std::uint64_t> calls;
    for (const char* function : kFrameworkFunctions) {
        calls.push_back(ModuleFrame_CallCount(function));
    }
    return calls;
}

// "[library] [ModuId:id] [function@number] message", the library without its ending.
bool HasForm(std::string line, const std::string& id, const std::string& function,
             const std::string& message) {
    const std::size_t number = line.find('@') + 1;
    const std::size_t end = std::min(line.find_first_not_of("0123456789", number), line.size());
    if (end == number) {
        return false;
    }
    line.replace(number, end - number, "N");
    const std::string form = "CameraModule] [ModuId:" + id + "] [" + function + "@N] " + message;
    return line == "[" + form || line == "[lib" + form;
}

class Lifecycle : public ::testing::Test {
  protected:
    Lifecycle() { Xalog_ResetLevel(cam::kLogDebug); }
    ~Lifecycle() override {
        for (const char* function : kFrameworkFunctions) {
            ModuleFrame_FailCalls(function, 0, 0);
        }
    }
};

TEST_F(Lifecycle, NullHandleAndNullModuleCallNothing) {
    const auto before = FrameworkCalls();
    EXPECT_EQ(CreateModule(nullptr), nullptr);
    int notAModule = 0;
    DestroyModule(&notAModule, nullptr);
    EXPECT_EQ(FrameworkCalls(), before);
}

TEST_F(Lifecycle, CreationIsToldStepByStepAndCounted) {
    ModuleHost host("gige serial=A", 7);
    ASSERT_NE(host.Module(), nullptr);
    EXPECT_EQ(ModuleFrame_GlobalCameraNum(), 1);
    const auto log = host.Log();
    EXPECT_THAT(
        MessagesOf(host.Log(cam::kLogDebug), "CreateModule"),
        ElementsAre("CameraModuleDebug:NEW CREAT", "CameraModuleDebug: CREAT OVER",
                    "CameraModuleDebug: INIT START", "CameraModuleDebug:INIT END",
                    "CameraModuleDebug:CAMERA NUM start", "CameraModuleDebug:CAMERA NUM end",
                    "CameraModuleDebug:CQ_M_SetNotifyEventCallback start",
                    "CameraModuleDebug:CQ_M_SetNotifyEventCallback end"));
    std::set<std::string> lines;
    for (const std::string& line : log) {
        if (const auto at = line.find("[CreateModule@"); at != line.npos) {
            lines.insert(line.substr(at, line.find(']', at) - at));
        }
    }
    EXPECT_EQ(lines.size(), 8U) << "each has a number of its own";
    EXPECT_THAT(MessagesOf(host.Log(cam::kLogInfo), "CCameraModule::Init"),
                ElementsAre("CreateModuleCause      succ", "strValueInfoList.nNum,0", "Init end"));
    EXPECT_THAT(MessagesOf(host.Log(cam::kLogError), "CCameraModule::EnumDevices"),
                ElementsAre("Enum return 1 devices"));

    EXPECT_TRUE(HasForm(log.front(), "-1", "CreateModule", "CameraModuleDebug:NEW CREAT"))
        << log.front();
    EXPECT_EQ(std::count_if(log.begin(), log.end(),
                            [](const std::string& line) {
                                return HasForm(line, "7", "CCameraModule::Init", "Init end");
                            }),
              1);

    host.Destroy();
    EXPECT_EQ(ModuleFrame_GlobalCameraNum(), 0);
}

TEST_F(Lifecycle, CreateCauseTwoLooksForNothing) {
    const auto configReads = ModuleFrame_CallCount("CQ_M_GetDefaultConfigByFile");
    ModuleHost host("gige serial=A", 1, 2);
    ASSERT_NE(host.Module(), nullptr);
    EXPECT_EQ(host.LogCount("Enum return"), 0U);
    EXPECT_EQ(host.LogCount("Init end"), 1U);
    EXPECT_EQ(ModuleFrame_CallCount("CQ_M_GetDefaultConfigByFile"), configReads);
    EXPECT_THAT(host.Get("CameraName"), HasSubstr("(A)"));  // found when asked for
}

TEST_F(Lifecycle, FailingFrameworkCallFailsCreationWithItsCode) {
    struct Case {
        const char* function;
        const char* line;  // "": only the common last line
    };
    const Case cases[] = {
        {"CQ_M_GetModuleId", ""},
        {"CQ_M_GetCreateModuleCause", "Get create module cause failed, error code=0xe1234567"},
        {"CQ_M_GetDefaultConfigByFile",
         "Get default config from file failed, error code=0xe1234567"}};
    for (const Case& each : cases) {
        SCOPED_TRACE(each.function);
        const std::size_t threads = ThreadCount();
        ModuleFrame_FailCalls(each.function, kFrameworkFault, 1);
        ModuleHost host("gige serial=A");
        EXPECT_EQ(host.Module(), nullptr);
        EXPECT_EQ(ModuleFrame_LastError(host.Handle()), kFrameworkFault);
        EXPECT_EQ(ModuleFrame_GlobalCameraNum(), 0);
        const auto messages = MessagesOf(host.Log(cam::kLogError), "CCameraModule::Init");
        ASSERT_FALSE(messages.empty());
        EXPECT_EQ(messages.back(), "Init failed.nRet:[e1234567]");
        if (each.line[0] != '\0') {
            EXPECT_THAT(messages, Contains(each.line));
        }
        EXPECT_TRUE(Eventually([&] { return ThreadCount() == threads; }));
    }
}

TEST_F(Lifecycle, FailingNoticesOfCreationChangeNothing) {
    ModuleFrame_FailCalls("CQ_M_NotifyIncGlobalCameraNum", kFrameworkFault, 1);
    ModuleFrame_FailCalls("CQ_M_SetNotifyEventCallback", kFrameworkFault, 1);
    ModuleHost host;
    EXPECT_NE(host.Module(), nullptr);
    EXPECT_EQ(ModuleFrame_LastError(host.Handle()), cam::kOk);
    ModuleFrame_FailCalls("CQ_M_NotifyDecGlobalCameraNum", kFrameworkFault, 1);
}

TEST_F(Lifecycle, FirstDefaultOfTheConnectingTimeCounts) {
    const platform::test::TemporaryFolder folder;
    ModuleFrame_SetConfigFolder(folder.Path().string().c_str());
    const auto written = [&](const std::string& parameters) {
        platform::test::WriteFile(folder.Path() / kModuleConfigFile,
                                  "<ModuleConfig>" + parameters + "</ModuleConfig>");
        ModuleHost host;
        return host.Get("WaitForConnectingTime");
    };
    EXPECT_EQ(written(R"(<Param Name="WaitForConnectingTime" Value="250"/>
                         <Param Name="WaitForConnectingTime" Value="9000"/>)"),
              "250");
    // No other entry is taken, not even one of nearly the same name.
    EXPECT_EQ(written(R"(<Param Name="waitforconnectingtime" Value="5"/>
                         <Param Name="ImageCacheNum" Value="6"/>)"),
              "1000");
    ModuleFrame_SetConfigFolder(nullptr);
}

TEST_F(Lifecycle, DeInitEndsTheModuleInOrderAndTwiceIsHarmless) {
    ModuleHost host("gige serial=A width=64 height=48 rate=200 events=0");
    host.OpenForRequests("A");
    host.Set("TriggerProcessRunStatus", "True");
    host.Set("TriggerOff", "True");
    ASSERT_TRUE(Eventually([] { return KZSim_FramesDelivered("A") > 3; }));
    KZSim_ClearJournal("A");
    host.ClearLog();
    host.ClearReports();
    EXPECT_EQ(host.Module()->DeInit(), cam::kOk);
    EXPECT_THAT(
        MessagesOf(host.Log(cam::kLogInfo), "CCameraModule::DeInit"),
        ElementsAre("DeInit start", "m_thImageProcessing joined", "m_thGrabbing joined",
                    "CloseCurCamera finish", "StopLastReconnect finish", "ClearImage finish",
                    "CloseHandle finish", "delete m_pLoadParamRecord finish"));
    EXPECT_EQ(KZSim_OpenHandles(), 0U);
    EXPECT_THAT(host.StateReports(), ElementsAre(Report{kReportCameraState, "1-0-A"}));
    EXPECT_EQ(host.LogCount("waiting images dropped"), 1U);
    EXPECT_THAT(Journal("A"),
                ElementsAre("KZ_CC_RegisterImageCallBackEx null", "KZ_CC_StopGrabbing",
                            "KZ_CC_StopGrabbing", "KZ_CC_CloseDevice", "KZ_CC_DestroyHandle"));

    host.ClearLog();
    host.ClearReports();
    EXPECT_EQ(host.Module()->DeInit(), cam::kOk);
    EXPECT_THAT(
        MessagesOf(host.Log(cam::kLogInfo), "CCameraModule::DeInit"),
        ElementsAre("DeInit start", "CloseCurCamera finish", "StopLastReconnect finish",
                    "ClearImage finish", "CloseHandle finish", "delete m_pLoadParamRecord finish"));
    EXPECT_THAT(host.Reports(), IsEmpty());
}

TEST_F(Lifecycle, AModuleThatWasEndedCanBeginAgain) {
    ModuleHost host("gige serial=A width=64 height=48");
    std::atomic<bool> offered{false};
    const auto answers = host.onProcedure.Attach([&](std::int32_t, std::uint32_t) {
        offered = true;
        return kModuleFrameRefused;
    });
    host.OpenForRequests("A");
    ASSERT_EQ(host.Module()->LoadModuleData(RecordOf({{"ImageCacheNum", "9"}}).get()), cam::kOk);
    ASSERT_EQ(host.Module()->DeInit(), cam::kOk);
    ASSERT_EQ(host.Module()->Init(), cam::kOk);
    const Record saved = RecordOf({});
    EXPECT_EQ(host.Module()->SaveModuleData(saved.get()), cam::kOk);
    EXPECT_STREQ(saved->params.entries[0].name, "AddRelateProc") << "nothing is left of the load";
    host.OpenForRequests("A");
    EXPECT_TRUE(host.TakeImage());
    host.Set("TriggerProcessRunStatus", "True");
    host.Set("TriggerSoftware", "");
    EXPECT_TRUE(Eventually([&] { return offered.load(); }));
    host.ClearReports();
    KZSim_Unplug("A");
    ASSERT_TRUE(host.WaitForReport({kReportCameraSource, "0"}));
    KZSim_Plug("A");
    EXPECT_TRUE(host.WaitForReport({kReportCameraSource, "1"}));
}

TEST_F(Lifecycle, NotifyEventAnswersAlikeAndOnlyRelationsChangeSomething) {
    ModuleHost host("gige serial=A width=64 height=48");
    host.OpenForRequests("A");
    host.Set("DelRelateProc", "1");
    EXPECT_EQ(ModuleFrame_RunNotifyEvent(host.Handle(), 2, nullptr), cam::kNotifyAnswer);
    EXPECT_TRUE(host.Image().has_value());  // the receiver that went is still known
    EXPECT_EQ(ModuleFrame_RunNotifyEvent(host.Handle(), kNotifyRelationsChanged, nullptr),
              cam::kNotifyAnswer);
    host.Set("TriggerSoftware", "");
    EXPECT_TRUE(host.WaitForLog("relate proc is empty"));

    // Too late: the module may be gone.
    host.Set("AddRelateProc", "1");
    host.Module()->DeInit();
    const auto lookUps = ModuleFrame_CallCount("CQ_M_GetModuleNodeInfo");
    EXPECT_EQ(ModuleFrame_RunNotifyEvent(host.Handle(), kNotifyRelationsChanged, nullptr),
              cam::kNotifyAnswer);
    EXPECT_EQ(ModuleFrame_CallCount("CQ_M_GetModuleNodeInfo"), lookUps);
}

// The host sits inside the notice of a loss, and another one comes and goes meanwhile.
TEST_F(Lifecycle, DeInitWaitsForTheLossInProgressAndSeeksNothingBehindIt) {
    ModuleHost host("gige serial=A width=64 height=48");
    host.OpenForRequests("A");
    std::atomic<bool> ended{false};
    std::thread end;
    const auto notices = host.onPublished.Attach([&](const std::string& text) {
        if (text != "CameraOffline=1") {
            return;
        }
        ModuleFrame_RunNotifyEvent(host.Handle(), kNotifyRelationsChanged, nullptr);
        end = std::thread([&] {
            host.Module()->DeInit();
            ended = true;
        });
        EXPECT_TRUE(host.WaitForLog("StopLastReconnect finish"));
        EXPECT_FALSE(Eventually([&] { return ended.load(); }, std::chrono::milliseconds(50)));
    });
    KZSim_RaiseException("A", KZ_EXCEPTION_DISCONNECTED);
    ASSERT_TRUE(Eventually([&] { return ended.load(); }));
    end.join();
    EXPECT_THAT(host.StateReports(), Contains(Report{kReportCameraSource, "0"}));
    // No pause would hold it up any more.
    EXPECT_FALSE(Eventually([&] { return host.LogCount("Try connect") > 0; },
                            std::chrono::milliseconds(100)));
}

TEST_F(Lifecycle, DeInitClosesWhatTheSearchOpensBehindItsClose) {
    ModuleHost host("gige serial=A width=64 height=48");
    host.Set("CameraName", "A");
    KZSim_Unplug("A");
    ASSERT_TRUE(host.WaitForLog("Try connect to camera(A)..."));
    host.ClearReports();
    host.onLog = [&](const std::string& line) {
        if (MessageOf(line) == "CloseCurCamera finish") {
            KZSim_Plug("A");
            EXPECT_TRUE(host.WaitForReport({kReportCameraState, "1-1-A"}));
        }
    };
    EXPECT_EQ(host.Module()->DeInit(), cam::kOk);
    EXPECT_EQ(KZSim_OpenHandles(), 0U);
    EXPECT_EQ(host.StateReports().back(), (Report{kReportCameraState, "1-0-A"}));
    host.onLog = nullptr;
}

TEST_F(Lifecycle, TwoModulesOfOneProcessHaveACameraEach) {
    ModuleHost host("gige serial=A width=64 height=48\nusb3 serial=B width=32 height=32");
    ModuleHost second(host, 2);
    ASSERT_NE(second.Module(), nullptr);
    EXPECT_EQ(ModuleFrame_GlobalCameraNum(), 2);

    host.OpenForRequests("A");
    EXPECT_EQ(second.Set("CameraName", "A"), KZ_CC_E_OPEN_REFUSED);
    EXPECT_EQ(second.Set("CameraName", "B"), cam::kOk);
    EXPECT_EQ(KZSim_OpenHandles(), 2U);
    const auto image = host.Image();
    ASSERT_TRUE(image.has_value());
    EXPECT_EQ(image->width, 64U);

    second.Destroy();
    EXPECT_EQ(KZSim_OpenHandles(), 1U);
    EXPECT_TRUE(host.Image().has_value());
    EXPECT_EQ(ModuleFrame_GlobalCameraNum(), 1);
}

TEST_F(Lifecycle, FiftyModulesLeaveNothingBehind) {
    std::size_t threads = 0;
    for (int i = 0; i < 50; ++i) {
        ModuleHost host("gige serial=A width=64 height=48 rate=500");
        host.OpenForRequests("A");
        ASSERT_TRUE(host.Image().has_value());  // never given back
        if (i % 2 == 0) {
            host.Set("TriggerOff", "");  // destroyed while frames come in
        } else {
            host.Destroy();
        }
        if (i == 0) {
            threads = ThreadCount() - 1;  // the stream's thread of this round
        }
    }
    EXPECT_EQ(KZSim_OpenHandles(), 0U);
    EXPECT_EQ(ModuleFrame_GlobalCameraNum(), 0);
    EXPECT_THAT(OpenRegions(), IsEmpty());
    EXPECT_TRUE(Eventually([&] { return ThreadCount() <= threads; }));
}

}  // namespace
}  // namespace tests

// Losing the camera at every moment, and getting it back.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <thread>

#include "camera/sdk/kz_camera_control.h"
#include "standins/kz_camera_control/simulated_cameras.h"
#include "standins/module_frame/module_frame_host.h"
#include "tests/support/module_host.h"

namespace {

using namespace tests;
using namespace std::chrono_literals;
using Reports = std::vector<Report>;

constexpr char kCamera[] = "gige serial=G1 width=64 height=32 rate=200 ip=10.0.0.2";
constexpr char kTwoCameras[] =
    "gige serial=G1 width=64 height=32 rate=200; usb3 serial=U1 width=64 height=32";

const Report kOn{kReportCameraState, "1-1-G1"};
const Report kOff{kReportCameraState, "1-0-G1"};
const Report kLost{kReportCameraSource, "0"};
const Report kBack{kReportCameraSource, "1"};

// What is told of the camera, frames left aside.
Reports StateReports(const ModuleHost& host) {
    Reports reports = host.StateReports();
    std::erase_if(reports, [](const Report& r) { return r.code == kReportFrameStarted; });
    return reports;
}

bool ImageComes(ModuleHost& host) {
    return Eventually([&] { return host.TakeImage().has_value(); });
}

std::size_t Attempts(const ModuleHost& host) {
    return host.LogCount("Try connect to camera(G1)...");
}

// Since the journal was cleared.
std::size_t Opens(const std::string& serial) {
    return Journal(serial, "KZ_CC_OpenDevice").size();
}

// A module that loaded a solution which names the camera's record.
Record SavedCamera(ModuleHost& host) {
    Record record = RecordOf({});
    host.Module()->SaveModuleData(record.get());
    return record;
}

class Reconnection : public testing::Test {
  protected:
    Reconnection() {
        host.OpenForRequests("G1");
        host.Set("SoftTriggerWaitTime", "1");
        host.ClearReports();
        host.ClearLog();
    }

    ModuleHost host{kCamera};
};

TEST_F(Reconnection, TellsOfTheLossInOrderAndBringsTheFramesBack) {
    std::string publishedBeforeOff;
    const auto reports = host.onReport.Attach([&](const Report& report) {
        if (report == kOff) {
            publishedBeforeOff = host.Published().back();
        }
    });
    KZSim_Unplug("G1");
    ASSERT_TRUE(host.WaitForReport(kLost));
    EXPECT_EQ(StateReports(host), (Reports{kOff, kLost}));
    EXPECT_EQ(publishedBeforeOff, "CameraOffline=1");
    EXPECT_EQ(host.LogCount("(G1)Camera callback exception:(8001)"), 1U);
    EXPECT_EQ(host.Get("SerialNumber"), "G1");
    EXPECT_EQ(host.Get("SmartCameraType"), "-1");
    EXPECT_FALSE(host.Image());

    KZSim_Plug("G1");
    ASSERT_TRUE(host.WaitForReport(kBack));
    EXPECT_EQ(StateReports(host), (Reports{kOff, kLost, kOn, kBack}));
    EXPECT_EQ(host.Messages("ReConnectDevice").back(), "E (G1)Camera reconnect success");
    EXPECT_TRUE(ImageComes(host));
    EXPECT_EQ(host.Published().back(), "CameraOnline=1");
}

TEST_F(Reconnection, OpensTheSavedRecordWithoutSayingSo) {
    const auto record = SavedCamera(host);
    ASSERT_EQ(record->binaryCount, 1);
    host.Module()->LoadModuleData(record.get());
    ASSERT_TRUE(ImageComes(host));
    host.ClearReports();
    KZSim_SetFaults("G1", "slow=KZ_CC_OpenDevice:50");
    KZSim_ClearJournal("G1");
    KZSim_Unplug("G1");
    ASSERT_TRUE(host.WaitForReport(kLost));
    ASSERT_TRUE(Eventually([] { return Opens("G1") > 0; }));
    EXPECT_EQ(host.Get("SmartCameraType"), "-1") << "an attempt is no open camera";
    // For the attempt itself, and for the selection at its end: then it is over.
    ASSERT_TRUE(Eventually([&] { return host.LogCount("Enum return 0 devices") >= 2; }));
    KZSim_SetFaults("G1", "");
    KZSim_Plug("G1");
    ASSERT_TRUE(host.WaitForReport(kOn));
    EXPECT_TRUE(ImageComes(host));
    EXPECT_EQ(StateReports(host), (Reports{kOff, kLost, kOn}));
    EXPECT_EQ(host.LogCount("Camera reconnect success"), 0U);
    EXPECT_EQ(SavedCamera(host)->binaryCount, 1) << "the list holds it again";
}

// What the host hears of a loss, in this order.
constexpr const char* kLossNotices[] = {"CameraOffline=1", "1-0-G1", "0"};

// The host does something inside the first notice of that text, on its thread or on another one.
struct InsideNotice {
    InsideNotice(ModuleHost& host, const std::string& notice, bool sameThread,
                 std::function<void()> action) {
        const auto look = [=, this, action = std::move(action)](const std::string& text) {
            if (text != notice || begun.exchange(true)) {
                return;
            }
            if (sameThread) {
                action();
            } else {
                std::thread(action).join();
            }
            done = true;
        };
        m_notices = host.onPublished.Attach(look);
        m_reports = host.onReport.Attach([look](const Report& report) { look(report.text); });
        m_lines = host.onLog.Attach([look](const std::string& line) { look(MessageOf(line)); });
    }

    std::atomic<bool> begun{false};
    std::atomic<bool> done{false};

  private:
    Callback<void(const std::string&)>::Attached m_notices;
    Callback<void(const Report&)>::Attached m_reports;
    Callback<void(const std::string&)>::Attached m_lines;
};

TEST(OvertakenLoss, TellsNothingMoreAndLeavesTheNewCameraAlone) {
    const Report on{kReportCameraState, "1-1-U1"};
    const Report off{kReportCameraState, "1-0-U1"};
    // The moments are the log line ahead of the notices, and the notices.
    std::vector<const char*> moments{"(G1)Camera callback exception:(8001)"};
    moments.insert(moments.end(), std::begin(kLossNotices), std::end(kLossNotices));
    struct Choice {
        const char* key;
        const char* value;
    };
    for (std::size_t moment = 0; moment < 2 * moments.size(); ++moment) {
        const std::size_t notice = moment / 2;
        const bool sameThread = moment % 2 == 0;
        for (const auto& [key, choice] :
             {Choice{"CameraName", "U1"}, Choice{"CameraName", "0"}, Choice{"SerialNumber", "X"}}) {
            SCOPED_TRACE(std::string(moments[notice]) + ' ' + choice);
            ModuleHost host(kTwoCameras);
            host.OpenForRequests("G1");
            host.ClearReports();
            KZSim_ClearJournal("G1");
            const InsideNotice inside(host, moments[notice], sameThread,
                                      [&] { EXPECT_EQ(host.Set(key, choice), cam::kOk); });
            KZSim_RaiseException("G1", KZ_EXCEPTION_DISCONNECTED);
            ASSERT_TRUE(Eventually([&] { return inside.done.load(); }));
            host.Module()->DeInit();  // waits for the SDK's thread to leave
            Reports told;
            if (notice > 1) {
                told.push_back(kOff);  // of the loss
            }
            told.push_back(notice < 3 ? kOff : kLost);  // closed by the choice, or lost before it
            if (*choice == 'U') {
                told.insert(told.end(), {on, off});
            }
            EXPECT_EQ(StateReports(host), told);
            EXPECT_EQ(Opens("G1"), 0U);
        }
    }
}

// The host closes the camera on another thread while it hears of the loss.
TEST(OvertakenLoss, IsOverBeforeTheHostHearsThatTheCameraIsClosed) {
    ModuleHost host(kCamera);
    host.OpenForRequests("G1");
    host.ClearReports();
    std::thread choice;
    std::atomic<bool> closing{false};
    std::atomic<bool> goesOn{false};
    const auto notices = host.onPublished.Attach([&](const std::string& text) {
        if (text == "CameraOffline=1") {
            choice = std::thread([&] { EXPECT_EQ(host.Set("CameraName", "0"), cam::kOk); });
            EXPECT_TRUE(Eventually([&] { return closing.load(); }));
        }
    });
    const auto reports = host.onReport.Attach([&](const Report& report) {
        if (report == kOff && !closing.exchange(true)) {
            goesOn = host.WaitForReport(kLost, 100ms);
        }
    });
    KZSim_RaiseException("G1", KZ_EXCEPTION_DISCONNECTED);
    ASSERT_TRUE(Eventually([&] { return closing.load(); }));
    choice.join();
    host.Module()->DeInit();  // waits for the SDK's thread to leave
    EXPECT_FALSE(goesOn);
    EXPECT_EQ(StateReports(host), (Reports{kOff}));
}

// Behind the last notice, during the first pause of the search.
TEST(OvertakenLoss, SeeksNothing) {
    ModuleHost host(kCamera);
    host.OpenForRequests("G1");
    KZSim_RaiseException("G1", KZ_EXCEPTION_DISCONNECTED);
    ASSERT_TRUE(host.WaitForReport(kLost));
    EXPECT_EQ(host.Set("CameraName", "0"), cam::kOk);
    std::this_thread::sleep_for(150ms);
    EXPECT_EQ(KZSim_OpenHandles(), 0U);
}

// The search is about to try.
TEST(OvertakenLoss, LeavesTheCameraOpenThatTheHostOpensMeanwhile) {
    ModuleHost host(kTwoCameras);
    host.OpenForRequests("G1");
    KZSim_ClearJournal("G1");
    std::atomic<bool> opened{false};
    const auto lines = host.onLog.Attach([&](const std::string& line) {
        if (line.find("Try connect to camera(G1)") != line.npos && !opened) {
            EXPECT_EQ(host.Set("CameraName", "U1"), cam::kOk);
            opened = true;
        }
    });
    KZSim_RaiseException("G1", KZ_EXCEPTION_DISCONNECTED);
    ASSERT_TRUE(Eventually([&] { return opened.load(); }));
    host.Module()->DeInit();  // waits for the search
    EXPECT_EQ(Opens("G1"), 0U);
    EXPECT_EQ(StateReports(host).back(), (Report{kReportCameraState, "1-0-U1"}));
}

// The host wants the lost camera itself, too early.
TEST(OvertakenLoss, IsNoneWhenTheLostCameraIsChosenInVain) {
    for (const char* notice : kLossNotices) {
        for (const bool sameThread : {true, false}) {
            SCOPED_TRACE(std::string(notice) + (sameThread ? "" : " another thread"));
            ModuleHost host(kCamera);
            host.OpenForRequests("G1");
            const InsideNotice inside(host, notice, sameThread, [&] {
                EXPECT_EQ(host.Set("CameraName", "G1"), KZ_CC_E_DEVICE_LOST);
            });
            KZSim_Unplug("G1");
            ASSERT_TRUE(Eventually([&] { return inside.done.load(); }));
            ASSERT_TRUE(host.WaitForReport(kLost));
            KZSim_Plug("G1");
            EXPECT_TRUE(host.WaitForReport(kBack));
        }
    }
}

// A request wants the camera whose open failed, while the host chooses another.
TEST(PendingSelection, IsForgottenWhenTheHostChoosesAnother) {
    ModuleHost host(kTwoCameras);
    host.Set("TriggerProcessRunStatus", "False");
    host.Relate(1);
    KZSim_SetFaults("G1", "open=0x80000201");
    EXPECT_EQ(host.Set("CameraName", "G1"), 0x80000201);
    KZSim_SetFaults("G1", "");
    KZSim_ClearJournal("G1");
    KZSim_SetFaults("U1", "slow=KZ_CC_OpenDevice:200");
    std::thread choice([&] { EXPECT_EQ(host.Set("CameraName", "U1"), cam::kOk); });
    ASSERT_TRUE(Eventually([] { return Opens("U1") > 0; }));
    std::thread check([&] { EXPECT_EQ(host.Set("CheckCameraOpened", ""), cam::kOk); });
    EXPECT_TRUE(host.Image());
    choice.join();
    check.join();
    EXPECT_EQ(host.Get("SerialNumber"), "U1");
    EXPECT_EQ(Opens("G1"), 0U);
}

TEST_F(Reconnection, FallsBackToTheSerialNumberWhenTheSavedRecordIsAnothers) {
    auto record = SavedCamera(host);
    CameraDeviceInfo moved{};
    std::memcpy(&moved, record->binaries[0].data, sizeof moved);
    moved.gige.currentIp = 0x0A0000FE;
    std::memset(moved.gige.serialNumber, 'Z', sizeof moved.gige.serialNumber);
    record->binaries[0].data = &moved;
    host.Module()->LoadModuleData(record.get());
    host.ClearReports();
    KZSim_Unplug("G1");
    ASSERT_TRUE(host.WaitForReport(kLost));
    KZSim_Plug("G1");
    EXPECT_TRUE(host.WaitForReport(kBack));
    EXPECT_TRUE(ImageComes(host));
}

TEST_F(Reconnection, TriesOnceWithoutReconnectTime) {
    host.Set("ReconnectTime", "0");
    KZSim_Unplug("G1");
    ASSERT_TRUE(host.WaitForLog("Try connect to camera(G1)..."));
    // The thread has ended when the next loss's thread is the only one that tries.
    std::this_thread::sleep_for(700ms);
    EXPECT_EQ(Attempts(host), 1U);
    KZSim_Plug("G1");
    EXPECT_EQ(host.Set("CameraName", "G1"), cam::kOk);
    host.Set("ReconnectTime", "100");
    KZSim_Unplug("G1");
    ASSERT_TRUE(Eventually([&] { return Attempts(host) >= 3; }));
    KZSim_Plug("G1");
    EXPECT_TRUE(ImageComes(host));
}

TEST_F(Reconnection, LeavesOtherMessagesToTheLog) {
    KZSim_RaiseException("G1", 0x8002);
    KZSim_RaiseException("G1", 0);
    ASSERT_TRUE(host.WaitForLog("(G1)Camera callback exception:(0)"));
    EXPECT_EQ(host.LogCount("(G1)Camera callback exception:(8002)"), 1U);
    EXPECT_TRUE(StateReports(host).empty());
    EXPECT_TRUE(ImageComes(host));
}

TEST_F(Reconnection, StartsAnewWhenTheCameraIsLostAgainMeanwhile) {
    for (int round = 0; round < 6; ++round) {
        host.ClearReports();
        KZSim_Unplug("G1");
        ASSERT_TRUE(host.WaitForReport(kLost));
        KZSim_Plug("G1");
        // Lost again just behind, or while the thread still configures it: then mostly before the
        // module could hear of it from the SDK.
        ASSERT_TRUE(host.WaitForReport(kOn));
        if (round % 2 == 0) {
            ASSERT_TRUE(host.WaitForReport(kBack));
        }
    }
    ASSERT_TRUE(ImageComes(host));
    EXPECT_EQ(KZSim_OpenHandles(), 1U);
}

// The thread that brought it back is still busy telling so.
TEST_F(Reconnection, StartsAnewWhenTheCameraIsLostWhileTheHostHearsOfItsReturn) {
    std::atomic<int> returns{0};
    const auto reports = host.onReport.Attach([&](const Report& report) {
        if (report == kBack && ++returns == 1) {
            KZSim_Unplug("G1");
            std::this_thread::sleep_for(100ms);
            KZSim_Plug("G1");
        }
    });
    KZSim_Unplug("G1");
    ASSERT_TRUE(host.WaitForReport(kLost));
    KZSim_Plug("G1");
    EXPECT_TRUE(Eventually([&] { return returns == 2; }));
    EXPECT_TRUE(ImageComes(host));
}

TEST_F(Reconnection, TakesALossThatIsReportedTwice) {
    KZSim_RaiseException("G1", KZ_EXCEPTION_DISCONNECTED);
    KZSim_RaiseException("G1", KZ_EXCEPTION_DISCONNECTED);
    ASSERT_TRUE(host.WaitForReport(kBack));
    EXPECT_TRUE(ImageComes(host));
    EXPECT_EQ(KZSim_OpenHandles(), 1U);
}

// Each call of an open made slow enough to lose the camera inside it.
TEST(ReconnectionOfAnOpen, SurvivesALossAtEveryStage) {
    ModuleHost host(kCamera);
    host.Set("TriggerProcessRunStatus", "False");
    host.Set("SoftTriggerWaitTime", "1");
    host.Relate(1);
    for (const char* stage :
         {"KZ_CC_CreateHandle", "KZ_CC_OpenDevice", "KZ_CC_GetOptimalPacketSize",
          "KZ_CC_SetIntValue", "KZ_CC_SetEnumValue", "KZ_CC_SetBoolValue",
          "KZ_CC_SetEnumValueByString", "KZ_CC_SetCommandValue", "KZ_CC_GetIntValue",
          "KZ_CC_StopGrabbing", "KZ_CC_RegisterImageCallBackEx", "KZ_CC_RegisterExceptionCallBack",
          "KZ_CC_RegisterEventCallBackEx", "KZ_CC_StartGrabbing"}) {
        SCOPED_TRACE(stage);
        ASSERT_TRUE(KZSim_SetFaults("G1", (std::string("slow=") + stage + ":60").c_str()));
        KZSim_ClearJournal("G1");
        std::thread pull([] {
            std::this_thread::sleep_for(30ms);
            KZSim_Unplug("G1");
        });
        const std::uint32_t opened = host.Set("CameraName", "G1");
        pull.join();
        KZSim_SetFaults("G1", "");
        EXPECT_TRUE(opened == cam::kOk || opened == KZ_CC_E_DEVICE_LOST) << std::hex << opened;
        KZSim_Plug("G1");
        // Found lost, or refused and tried again on request: it comes back by itself.
        ASSERT_TRUE(ImageComes(host));
        EXPECT_LE(KZSim_OpenHandles(), 1U);
    }
    host.Destroy();
    EXPECT_EQ(KZSim_OpenHandles(), 0U);
}

// A camera gone before the module could hear of it is found by reading the list.
TEST_F(Reconnection, FindsAnOrphanThroughTheCameraList) {
    KZSim_SetFaults("G1", "fail=KZ_CC_RegisterExceptionCallBack:0x80000004");
    host.Set("CameraName", "G1");
    EXPECT_EQ(host.LogCount("(G1)RegisterExceptionCallBack failed"), 1U);
    KZSim_SetFaults("G1", "");
    host.ClearReports();
    KZSim_Unplug("G1");
    host.Set("EnumCamera", "");
    EXPECT_EQ(KZSim_OpenHandles(), 1U);
    host.Get("CameraName", 8192);
    EXPECT_EQ(KZSim_OpenHandles(), 0U);
    ASSERT_TRUE(host.WaitForLog("Try connect to camera(G1)..."));
    KZSim_Plug("G1");
    ASSERT_TRUE(host.WaitForReport(kBack));
    EXPECT_TRUE(ImageComes(host));
}

// The start of the open is refused, and the next one: the SDK may still be about to report the
// loss.
TEST_F(Reconnection, FindsALossAtTheSecondStartThatIsRefusedBehindTheOpen) {
    std::atomic<std::size_t> starts{0};
    const auto lines = host.onLog.Attach([&](const std::string& line) {
        if (line.find("(G1)Camera lost, found when grabbing was to start") != line.npos) {
            starts = Journal("G1", "KZ_CC_StartGrabbing").size();
            KZSim_SetFaults("G1", "");
        }
    });
    KZSim_ClearJournal("G1");
    KZSim_SetFaults("G1", "start=0x80000206");
    EXPECT_EQ(host.Set("CameraName", "G1"), cam::kOk);
    ASSERT_TRUE(host.WaitForReport(kBack));
    EXPECT_GE(starts, 3U);  // a round that begins before the open does not count
    EXPECT_TRUE(ImageComes(host));
}

TEST_F(Reconnection, LetsARequestGoThatWaitsForAnImage) {
    host.Set("SoftTriggerWaitTime", "60");
    KZSim_SetFaults("G1", "slow=KZ_CC_SetCommandValue:100");
    std::thread pull([] {
        std::this_thread::sleep_for(20ms);
        KZSim_Unplug("G1");
    });
    EXPECT_FALSE(host.Image());  // within the time of the test, not of the trigger
    pull.join();
    KZSim_SetFaults("G1", "");
    KZSim_Plug("G1");
    EXPECT_TRUE(ImageComes(host));
}

TEST_F(Reconnection, SurvivesALossWhileItLoadsSavesStopsAndEnds) {
    const auto record = SavedCamera(host);
    const auto loseWhile = [&](const char* faults, auto&& action) {
        ASSERT_TRUE(ImageComes(host));
        KZSim_SetFaults("G1", faults);
        std::thread pull([] {
            std::this_thread::sleep_for(15ms);
            KZSim_Unplug("G1");
        });
        action();
        pull.join();
        KZSim_SetFaults("G1", "");
        KZSim_Plug("G1");
    };
    loseWhile("slow=KZ_CC_OpenDevice:40", [&] { host.Module()->LoadModuleData(record.get()); });
    loseWhile("slow=KZ_CC_EnumDevices:10", [&] {
        for (int i = 0; i < 30; ++i) {
            host.Module()->SaveModuleData(record.get());
            std::this_thread::sleep_for(1ms);
        }
    });
    loseWhile("slow=KZ_CC_StopGrabbing:40", [&] { host.Set("Width", "32"); });
    loseWhile("slow=KZ_CC_DestroyHandle:40", [&] { host.Set("CameraName", "G1"); });
    ASSERT_TRUE(Eventually([&] {
        host.Set("CheckCameraOpened", "");
        return host.Image().has_value();
    }));
    loseWhile("slow=KZ_CC_StopGrabbing:40 slow=KZ_CC_CloseDevice:40", [&] { host.Destroy(); });
    EXPECT_EQ(KZSim_OpenHandles(), 0U);
}

TEST_F(Reconnection, EndsWithTheModule) {
    KZSim_Unplug("G1");
    ASSERT_TRUE(host.WaitForReport(kLost));
    host.Module()->DeInit();
    const std::size_t attempts = Attempts(host);
    KZSim_Plug("G1");
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(Attempts(host), attempts);
    EXPECT_EQ(KZSim_OpenHandles(), 0U);
    // Slow attempts are waited for, and what they opened is closed again.
    host.Destroy();
    for (int round = 0; round < 8; ++round) {
        ModuleHost another(kCamera);
        another.Set("CameraName", "G1");
        KZSim_Unplug("G1");
        ASSERT_TRUE(another.WaitForReport(kLost));
        KZSim_SetFaults("G1", "slow=KZ_CC_SetEnumValue:5");
        KZSim_Plug("G1");
        std::this_thread::sleep_for(round * 12ms + 30ms);
        another.Destroy();
        EXPECT_EQ(KZSim_OpenHandles(), 0U);
        const std::size_t reports = another.Reports().size();
        KZSim_RaiseException("G1", KZ_EXCEPTION_DISCONNECTED);
        KZSim_RaiseEvent("G1", "FrameStart");
        EXPECT_EQ(another.Reports().size(), reports);
    }
}

TEST(ReconnectionByAddress, ComesBackOnlyWhenItIsWanted) {
    ModuleHost host(kCamera);
    host.Set("TriggerProcessRunStatus", "False");
    host.Set("SoftTriggerWaitTime", "1");
    host.Relate(1);
    host.Set("Type", "1");
    host.Set("CameraIP", "10.0.0.2");
    host.Set("LocalIP", "10.0.0.1");
    ASSERT_EQ(host.Set("ConnectIP", "True"), cam::kOk);
    EXPECT_EQ(host.Get("ConnectIP"), "True");
    ASSERT_TRUE(ImageComes(host));
    // A value counts as written for one open only: the camera may have lost its power meanwhile.
    EXPECT_EQ(host.Set("ExposureTime", "1234"), cam::kOk);
    ASSERT_EQ(host.Set("ConnectIP", "True"), cam::kOk);
    KZSim_ClearJournal("G1");
    EXPECT_EQ(host.Set("ExposureTime", "1234"), cam::kOk);
    EXPECT_EQ(Journal("G1").size(), 1U);
    host.ClearReports();

    host.Set("AutoConnect", "True");
    KZSim_Unplug("G1");
    ASSERT_TRUE(host.WaitForReport(kLost));
    EXPECT_EQ(host.Get("ConnectIP"), "False");
    KZSim_Plug("G1");
    ASSERT_TRUE(host.WaitForLog("Camera reconnect success"));
    EXPECT_TRUE(ImageComes(host));
    EXPECT_EQ(host.Get("ConnectIP"), "True");
    // Nothing but the loss is reported on this way.
    EXPECT_EQ(StateReports(host), (Reports{{kReportCameraState, "1-0-"}, kLost}));

    host.Set("AutoConnect", "False");
    host.ClearLog();
    KZSim_Unplug("G1");
    ASSERT_TRUE(Eventually([&] { return KZSim_OpenHandles() == 0; }));
    KZSim_Plug("G1");
    std::this_thread::sleep_for(150ms);
    EXPECT_EQ(host.LogCount("Try connect to camera"), 0U);
    EXPECT_EQ(KZSim_OpenHandles(), 0U);
}

TEST(ReconnectionEvents, ReportTheStartOfAFrame) {
    ModuleHost host("gige serial=S1 width=64 height=32 events=1", 3);
    host.OpenForRequests("S1");
    KZSim_RaiseEvent("S1", "FrameEnd");
    KZSim_RaiseEvent("S1", "FrameStart");
    ASSERT_TRUE(host.WaitForReport({kReportFrameStarted, "3-0-0-S1"}));
    EXPECT_EQ(host.LogCount("Receive FrameStart event from CamSDK."), 1U);
    EXPECT_EQ(host.LogCount("CQ_M_ReportData  405 3-0-0-S1"), 1U);
    ModuleFrame_FailCalls("CQ_M_ReportData", 0xE1000002, 1);
    KZSim_RaiseEvent("S1", "FrameStart");
    EXPECT_TRUE(host.WaitForLog("CQ_M_ReportData return [e1000002]"));
}

TEST_F(Reconnection, GoesOnWhenTheFrameworkRefusesItsNotices) {
    ModuleFrame_FailCalls("CQ_M_ReportData", 0xE1000002, 2);
    ModuleFrame_FailCalls("CQ_M_SetBinayData", 0xE1000002, 1);
    KZSim_Unplug("G1");
    ASSERT_TRUE(host.WaitForLog("Try connect to camera(G1)..."));
    EXPECT_EQ(host.LogCount("Send CameraOffline error.nRet:[e1000002]"), 1U);
    EXPECT_EQ(host.LogCount("CQ_M_ReportData Camera Off return [e1000002]"), 1U);
    EXPECT_EQ(host.LogCount("CQ_M_ReportData return [e1000002]"), 1U);
    KZSim_Plug("G1");
    EXPECT_TRUE(host.WaitForReport(kBack));
}

// The camera starts only when the notice returns.
TEST_F(Reconnection, LetsALoadInsideTheOnlineNoticeNotWaitForTheCamera) {
    const Record record = RecordOf({{"WaitForConnectingTime", "600000"}});
    const auto reports = host.onReport.Attach([&](const Report& report) {
        if (report == kOn) {
            EXPECT_EQ(host.Module()->LoadModuleData(record.get()), cam::kOk);
        }
    });
    EXPECT_EQ(host.Set("CameraName", "G1"), cam::kOk);
    EXPECT_EQ(host.LogCount("connecting finished, grabing=false"), 1U);
}

// The host calls back in from inside every report, on whatever thread it comes.
TEST_F(Reconnection, LetsTheHostCallBackInFromItsReports) {
    const auto record = SavedCamera(host);
    std::atomic<int> depth{0};
    const auto reports = host.onReport.Attach([&](const Report& report) {
        if (depth++ == 0) {
            if (report == kOn) {
                EXPECT_EQ(host.Set("ExposureTime", "1234"), cam::kOk);
                EXPECT_EQ(host.Set("Width", "32"), cam::kOk);
                host.Get("CameraName", 8192);
                host.Set("EnumCamera", "");
                host.Module()->LoadModuleData(record.get());
            } else if (report == kOff) {
                EXPECT_EQ(host.Get("SerialNumber"), "G1");
                host.Get("CameraPreviewInfo");
                host.Get("ExposureTime");
                host.Set("ImageCacheNum", "5");
            } else if (report.code == kReportCameraSource) {
                host.Module()->LoadModuleData(record.get());
                host.Module()->SaveModuleData(record.get());
                host.Set("TriggerProcessRunStatus", "True");
                host.Set("TriggerProcessRunStatus", "False");
            }
        }
        --depth;
    });
    for (int round = 0; round < 3; ++round) {
        KZSim_Unplug("G1");
        ASSERT_TRUE(Eventually([] { return KZSim_OpenHandles() == 0; }));
        KZSim_Plug("G1");
        ASSERT_TRUE(ImageComes(host)) << round;
    }
    host.Set("CameraName", "0");
    EXPECT_EQ(host.Set("CameraName", "G1"), cam::kOk);
    EXPECT_TRUE(ImageComes(host));
    host.Destroy();
    EXPECT_EQ(KZSim_OpenHandles(), 0U);
}

}  // namespace

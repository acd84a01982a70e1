// Everything at once: what the threads of a host, of the SDK and of the module do to each other.
// Data races are ThreadSanitizer's to see; a hang ends the program with the name of who hangs.
#include <gmock/gmock.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <list>
#include <thread>

#include "camera/sdk/kz_camera_control.h"
#include "camera/sdk/pixel_format.h"
#include "module/log/xalog.h"
#include "standins/kz_camera_control/simulated_cameras.h"
#include "standins/module_frame/module_frame_host.h"
#include "standins/xalog/xalog_host.h"
#include "tests/support/module_host.h"

namespace tests {
namespace {

using ::testing::AnyOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

using Clock = std::chrono::steady_clock;

constexpr std::int32_t kTraceLevel = 1;
constexpr std::int32_t kErrorLevel = 4;
constexpr std::chrono::seconds kStorm{4};

// Ends the program: a thread that hangs can be neither joined nor left behind.
[[noreturn]] void EndHung(const std::string& who) {
    std::fprintf(stderr, "%s hangs\n", who.c_str());
    std::abort();
}

// Runs `work` on a thread of its own and waits for it.
void WithinTime(const std::string& who, const std::function<void()>& work) {
    std::atomic<bool> done{false};
    std::thread thread([&] {
        work();
        done = true;
    });
    if (!Eventually([&] { return done.load(); })) {
        EndHung(who);
    }
    thread.join();
}

// Threads that repeat one step each until they are dismissed.
class Crew {
  public:
    void Add(const std::string& name, std::function<void()> step,
             std::chrono::milliseconds pause = std::chrono::milliseconds(1)) {
        Member& member = m_members.emplace_back();
        member.name = name;
        member.thread = std::thread([this, &member, step = std::move(step), pause] {
            while (!m_dismissed) {
                step();
                ++member.steps;
                std::this_thread::sleep_for(pause);
            }
            member.gone = true;
        });
    }

    // And then on until there is `enough`.
    void WorkFor(std::chrono::milliseconds time, const std::function<bool()>& enough) {
        const auto end = Clock::now() + time;
        while (Clock::now() < end || (!enough() && Clock::now() < end + kHang)) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            for (Member& member : m_members) {
                Watch(member);
            }
        }
        m_dismissed = true;
        for (Member& member : m_members) {
            if (!Eventually([&] { return member.gone.load(); })) {
                EndHung(member.name);
            }
            member.thread.join();
            EXPECT_GT(member.steps, 0U) << member.name;
        }
    }

  private:
    struct Member {
        std::string name;
        std::thread thread;
        std::atomic<std::uint64_t> steps{0};
        std::atomic<bool> gone{false};
        std::uint64_t seenSteps = 0;
        Clock::time_point seen = Clock::now();
    };

    static void Watch(Member& member) {
        const std::uint64_t steps = member.steps;
        if (steps != member.seenSteps) {
            member.seenSteps = steps;
            member.seen = Clock::now();
        } else if (Clock::now() - member.seen > kHang) {
            EndHung(member.name);
        }
    }

    std::list<Member> m_members;
    std::atomic<bool> m_dismissed{false};
};

// A solution whose parameters make every lock move when they are replayed at the end of an open.
Record Solution(const std::string& serial) {
    return RecordOf({{"SerialNumber", serial},
                     {"WaitForConnectingTime", "20"},
                     {"ClearCacheImage", ""},
                     {"TriggerProcessRunStatus", "False"},
                     {"TriggerSource", "7"},
                     {"TriggerProcessRunStatus", "True"},
                     {"ExposureTime", "1000"},
                     {"Width", "64"},
                     {"AddRelateProc", "3"},
                     {"TriggerOff", ""}});
}

constexpr char kThreeCameras[] =
    "gige serial=A width=64 height=48 rate=400 format=BayerRG8\n"
    "usb3 serial=B width=64 height=48 rate=300 format=Mono12\n"
    "gige serial=C width=64 height=48 rate=300 ip=10.0.0.9 nic=10.0.0.1";

TEST(Concurrency, EveryThreadBusyAtOnce) {
    Xalog_ResetLevel(kErrorLevel);
    const std::uint32_t overlaps = KZSim_EnumerationOverlaps();
    ModuleHost host(kThreeCameras);
    // The probe's lock would order the threads for ThreadSanitizer.
    XalogHost_SetProbe(nullptr, nullptr);
    std::atomic<int> offers{0};
    std::atomic<bool> calm{false};
    const auto answers =
        host.onProcedure.Attach([&](std::int32_t procedure, std::uint32_t) -> std::uint32_t {
            const int offer = ++offers;
            if (calm) {
                return kModuleFrameRefused;
            }
            if (offer % 3 == 0) {
                host.TakeImage();
            }
            if (offer % 16 == 1) {
                host.Get("CameraName");
            }
            if (offer % 32 == 2) {
                host.Set("ClearCacheImage", "");
            }
            return procedure == 2 ? 0 : kModuleFrameRefused;
        });
    const auto reports = host.onReport.Attach([&](const Report& report) {
        if (report.code == kReportCameraState && !calm) {
            host.Get("CameraName");
            host.Set("AddRelateProc", "4");
            host.Get("Width");
        }
    });
    host.Set("ImageCacheNum", "8");
    host.Set("ReconnectTime", "2");
    host.Relate(1);
    host.Relate(2);

    std::atomic<std::uint64_t> images{0};
    const auto pull = [&] {
        if (const auto image = host.Image()) {
            images += image->dataLength != 0;
            host.Free(*image);
        }
    };
    const auto alternate = [](auto... texts) {
        return [list = std::vector<std::string>{texts...}, i = std::size_t{0}]() mutable {
            return list[i++ % list.size()];
        };
    };
    using std::chrono::milliseconds;
    const Record saved = RecordOf({});
    const Record loadedA = Solution("A");
    const Record loadedB = Solution("B");
    Crew crew;
    crew.Add("first puller", pull, milliseconds(2));
    crew.Add("second puller", pull, milliseconds(15));
    crew.Add(
        "first selector",
        [&, choice = alternate("A", "0", "1$B$", "A")]() mutable {
            host.Set("CameraName", choice());
            host.Set("TriggerOff", "");
        },
        milliseconds(25));
    crew.Add(
        "second selector",
        [&, choice = alternate("B", "C", "NOBODY")]() mutable {
            host.Set("CameraName", choice());
            host.Set("CheckCameraOpened", "");
        },
        milliseconds(40));
    crew.Add(
        "feature writer",
        [&, width = alternate("32", "64"),
         format = alternate("17301505", "17301513", "17825797")]() mutable {
            host.Set("Width", width());
            host.Set("PixelFormat", format());
            host.Set("ExposureTime", "2000");
            host.Set("TriggerSource", "7");
        },
        milliseconds(15));
    crew.Add("feature reader", [&] {
        for (const char* key : {"Width", "ExposureTime", "CameraPreviewInfo", "CameraErrorInfo",
                                "VendorName", "ModelName", "SerialNumber", "PixelFormat"}) {
            host.Get(key);
        }
    });
    crew.Add(
        "enumerator",
        [&] {
            host.Set("EnumCamera", "True");
            host.Get("CameraName");
        },
        milliseconds(3));
    // A wait for a frame that does not come holds the other images up.
    crew.Add("setter", [&, level = alternate("5", "6"), wait = alternate("0", "0", "1")]() mutable {
        host.Set("LogLevel", level());
        host.Set("SoftTriggerWaitTime", wait());
        host.Set("ImageCacheNum", "6");
        host.Set("SynTriggerSoftware", "");
        host.Set("IOEnableElectricalLevel", "1");
    });
    crew.Add(
        "relator",
        [&] {
            host.Set("DelRelateProc", "2");
            host.Relate(3);
            host.Set("DelRelateProc", "3");
            host.Relate(2);
        },
        milliseconds(5));
    crew.Add(
        "switcher",
        [&, status = alternate("False", "True", "True")]() mutable {
            host.Set("TriggerProcessRunStatus", status());
        },
        milliseconds(7));
    crew.Add(
        "real-time switcher",
        [&, mode = alternate("True", "False", "False")]() mutable {
            host.Set("RealTimeImgAcq", mode());
        },
        milliseconds(60));
    // One thread for both: what a save hands out is good until the next one.
    crew.Add("saver and loader", [&, turn = 0]() mutable {
        host.Module()->SaveModuleData(saved.get());
        const Record* const solutions[] = {&loadedA, &saved, &loadedB};
        if (turn++ % 16 == 0) {
            host.Module()->LoadModuleData(solutions[turn / 16 % 3]->get());
        }
    });
    crew.Add(
        "cable",
        [&, serial = alternate("A", "B", "C")]() mutable {
            const std::string one = serial();
            KZSim_RaiseEvent(one.c_str(), "FrameStart");
            KZSim_Unplug(one.c_str());
            std::this_thread::sleep_for(milliseconds(30));
            KZSim_Plug(one.c_str());
        },
        milliseconds(80));
    crew.Add(
        "second module",
        [&] {
            ModuleHost second(host, 2);
            second.Set("EnumCamera", "True");
            second.Set("CameraName", "C");
        },
        milliseconds(70));
    crew.WorkFor(kStorm, [&] { return images > 0 && offers > 0; });
    EXPECT_GT(images, 0U);
    EXPECT_GT(offers, 0);
    EXPECT_EQ(KZSim_EnumerationOverlaps(), overlaps);

    // Still a working module.
    Xalog_ResetLevel(kErrorLevel);
    calm = true;
    WithinTime("last image", [&] {
        host.Set("RealTimeImgAcq", "False");
        EXPECT_TRUE(Eventually([&] {
            host.Set("CameraName", "0");
            host.Set("EnumCamera", "");  // the last one may have missed an unplugged camera
            host.Set("ClearCacheImage", "");
            host.Set("TriggerProcessRunStatus", "False");
            host.Set("SoftTriggerWaitTime", "2");
            return host.Set("CameraName", "A") == cam::kOk && host.Image().has_value();
        }));
    });
    WithinTime("destruction", [&] { host.Destroy(); });
    EXPECT_EQ(KZSim_OpenHandles(), 0U);
    EXPECT_THAT(OpenRegions(), IsEmpty());
}

// The frame arrives after its trigger and before the wait for it begins.
TEST(Trigger, FrameThatIsFasterThanTheWaitEndsIt) {
    Xalog_ResetLevel(kTraceLevel);
    ModuleHost host("gige serial=A width=64 height=48");
    host.onLog = [&](const std::string& line) {
        if (MessageOf(line).starts_with("Soft trigger camera: A")) {
            EXPECT_TRUE(host.WaitForLog("CameraModule:Image callback end"));
        }
    };
    host.OpenForRequests("A");
    host.Set("SoftTriggerWaitTime", "1000");
    WithinTime("image", [&] { EXPECT_TRUE(host.Image().has_value()); });
}

// The frame arrives before the request resets its event; its own trigger's frame finds no room.
TEST(Trigger, FrameAheadOfTheTriggerEndsTheWait) {
    Xalog_ResetLevel(kTraceLevel);
    ModuleHost host("gige serial=A width=64 height=48");
    host.onLog = [&](const std::string& line) {
        if (MessageOf(line) == "have no pictures need soft trigger") {
            host.Set("TriggerSoftware", "");
            EXPECT_TRUE(host.WaitForLog("CameraModule:Image callback end"));
        }
    };
    host.OpenForRequests("A");
    host.Set("ImageCacheNum", "1");
    host.Set("SoftTriggerWaitTime", "1000");
    WithinTime("image", [&] { EXPECT_TRUE(host.Image().has_value()); });
}

TEST(RunByCamera, PassEndsAlthoughFramesComeFasterThanTheyAreTaken) {
    Xalog_ResetLevel(kErrorLevel);
    ModuleHost host("gige serial=A width=64 height=48 rate=1000");
    std::atomic<int> offers{0};
    const auto answers = host.onProcedure.Attach([&](std::int32_t, std::uint32_t) -> std::uint32_t {
        host.TakeImage();
        std::this_thread::sleep_for(std::chrono::milliseconds(3));
        ++offers;
        return 0;
    });
    host.Relate(5);
    host.Relate(6);
    host.Set("CameraName", "A");
    host.Set("TriggerOff", "");
    ASSERT_TRUE(Eventually([&] { return offers > 20; }));
    WithinTime("request beside it", [&] { static_cast<void>(host.Image()); });
    WithinTime("destruction", [&] { host.Destroy(); });
}

TEST(RunByCamera, ProcedureThatWasRemovedIsNotAskedAnyMore) {
    Xalog_ResetLevel(kErrorLevel);
    ModuleHost host("gige serial=A width=64 height=48");
    std::atomic<int> offers{0};
    std::atomic<bool> askedLate{false};
    const auto answers =
        host.onProcedure.Attach([&](std::int32_t procedure, std::uint32_t) -> std::uint32_t {
            askedLate = askedLate || procedure == 6;
            std::thread([&] { host.Set("DelRelateProc", "6"); }).join();
            ++offers;
            return kModuleFrameRefused;
        });
    host.Relate(5);
    host.Relate(6);
    host.Set("CameraName", "A");
    host.Set("TriggerSoftware", "");
    ASSERT_TRUE(Eventually([&] { return offers >= 2; }));
    EXPECT_FALSE(askedLate);
}

// Another thread of the host uses the camera while an open is inside a notice.
TEST(SetUp, HoldsOffWhatOtherThreadsReadAndWriteUntilItIsOver) {
    Xalog_ResetLevel(kErrorLevel);
    ModuleHost host("gige serial=A width=64 height=48");
    host.OpenForRequests("A");
    host.Set("ExposureTime", "5555");
    std::thread other;
    std::string read;
    std::atomic<bool> over{false};
    const auto reports = host.onReport.Attach([&](const Report& report) {
        if (report == Report{kReportCameraState, "1-1-A"}) {
            other = std::thread([&] {
                read = host.Get("ExposureTime");
                EXPECT_EQ(host.Set("ExposureTime", "1234"), cam::kOk);
                EXPECT_EQ(host.Set("TriggerOff", ""), cam::kOk);
                over = true;
            });
            EXPECT_FALSE(Eventually([&] { return over.load(); }, std::chrono::milliseconds(50)));
        }
    });
    EXPECT_EQ(host.Set("CameraName", "A"), cam::kOk);
    other.join();
    EXPECT_NE(read.substr(0, 5), "5555.") << "from before the user set";
    EXPECT_NE(read.substr(0, 5), "NULL$") << "given up, although the set-up has ended";
    EXPECT_EQ(host.Get("ExposureTime").substr(0, 5), "1234.");
    EXPECT_EQ(host.Get("TriggerMode").substr(0, 2), "0$");
}

// What the host asks from inside the notice of a frame, on the thread that a stop would wait for.
TEST(FrameNotice, ReadsAndWritesButNeitherStopsNorClosesTheCamera) {
    Xalog_ResetLevel(kErrorLevel);
    ModuleHost host("gige serial=A width=64 height=48 ip=10.0.0.2; gige serial=B ip=10.0.0.3");
    host.OpenForRequests("A");
    host.Set("CameraIP", "10.0.0.3");
    host.Set("LocalIP", "10.0.0.1");
    std::atomic<bool> called{false};
    const auto reports = host.onReport.Attach([&](const Report& report) {
        if (report.code != kReportFrameArrived || called) {
            return;
        }
        EXPECT_EQ(host.Set("ExposureTime", "1234"), cam::kOk);
        EXPECT_EQ(host.Get("ExposureTime").substr(0, 5), "1234.");
        EXPECT_EQ(host.GetStatus("CameraName"), cam::kOk);
        EXPECT_EQ(host.Set("Width", "32"), cam::kInvalid);
        EXPECT_EQ(host.Set("CameraName", "0"), cam::kInvalid);
        EXPECT_EQ(host.Set("CameraName", "B"), cam::kInvalid);
        EXPECT_EQ(host.Set("SerialNumber", "B"), cam::kInvalid);
        EXPECT_EQ(host.Set("UseGenTL", "True"), cam::kInvalid);
        EXPECT_EQ(host.Set("RealTimeImgAcq", "True"), cam::kInvalid);
        host.Set("Type", "1");
        EXPECT_EQ(host.Set("ConnectIP", "True"), cam::kInvalid);
        EXPECT_EQ(host.Set("ConnectIP", "False"), cam::kInvalid);
        host.Set("Type", "0");
        called = true;
    });
    KZSim_ClearJournal("A");
    WithinTime("image", [&] { EXPECT_TRUE(host.Image().has_value()); });
    EXPECT_TRUE(called);
    EXPECT_EQ(host.Get("SerialNumber"), "A");
    EXPECT_EQ(host.Get("Width").substr(0, 3), "64$");
    for (const std::string& call : Journal("A")) {
        EXPECT_THAT(call, AnyOf("KZ_CC_SetFloatValue ExposureTime 1234",
                                "KZ_CC_SetCommandValue TriggerSoftware"));
    }
    EXPECT_EQ(KZSim_OpenHandles(), 1U);
}

// The host asks for everything on a thread of the SDK that a stop of camera "A" waits for. Whoever
// stops it holds locks that these want.
void AskForAll(ModuleHost& host) {
    for (const char* key : {"ExposureTime", "CameraErrorInfo", "VendorName", "CameraName"}) {
        host.Get(key);
    }
    for (const char* key :
         {"ExposureTime", "TriggerOn", "TriggerSoftware", "EnumCamera", "CheckCameraOpened",
          "SynTriggerSoftware", "Width", "CameraName", "TriggerProcessRunStatus"}) {
        host.Set(key, "1234");
    }
    host.Module()->SaveModuleData(RecordOf({}).get());
    static_cast<void>(host.Image());
}

bool StopUnderWay() {
    const auto journal = Journal("A");
    return std::any_of(journal.begin(), journal.end(), [](const std::string& call) {
        return call == "KZ_CC_StopGrabbing" || call == "KZ_CC_DestroyHandle";
    });
}

// A frame is in the module's hands, on its way to be converted, while its camera is taken away.
class FrameInHands : public ::testing::Test {
  protected:
    FrameInHands() {
        Xalog_ResetLevel(kErrorLevel);
        host.onReport = [this](const Report& report) {
            if (report.code == kReportFrameArrived && !arrived.exchange(true)) {
                // Until the camera is being stopped, under the camera lock.
                stopSeen = Eventually([] { return StopUnderWay(); });
                AskForAll(host);
            }
        };
        host.OpenForRequests("A");
        KZSim_ClearJournal("A");
        host.Set("TriggerSoftware", "");
        EXPECT_TRUE(Eventually([this] { return arrived.load(); }));
    }

    void ExpectFrameGivenUp() const {
        EXPECT_TRUE(stopSeen);
        EXPECT_EQ(host.LogCount("ConvertPixelFormatToRGB occurs error:-536870911."), 1U);
        EXPECT_EQ(host.LogCount("KZS SDK Convert Failed"), 1U);
    }

    std::atomic<bool> arrived{false};
    std::atomic<bool> stopSeen{false};
    ModuleHost host{"gige serial=A width=64 height=48 format=BayerRG8"};
};

TEST_F(FrameInHands, GivesWayToAFeatureThatNeedsAStop) {
    WithinTime("feature write", [&] { EXPECT_EQ(host.Set("Width", "32"), cam::kOk); });
    ExpectFrameGivenUp();
    EXPECT_TRUE(host.Image().has_value());
}

TEST_F(FrameInHands, GivesWayToAClose) {
    WithinTime("close", [&] { EXPECT_EQ(host.Set("CameraName", "0"), cam::kOk); });
    ExpectFrameGivenUp();
    EXPECT_EQ(KZSim_OpenHandles(), 0U);
}

TEST_F(FrameInHands, GivesWayToALoss) {
    WithinTime("loss", [&] {
        KZSim_Unplug("A");
        EXPECT_TRUE(host.WaitForReport({kReportCameraSource, "0"}));
        EXPECT_TRUE(Eventually([] { return KZSim_OpenHandles() == 0; }));
    });
    ExpectFrameGivenUp();
}

TEST_F(FrameInHands, GivesWayToRealTimeMode) {
    WithinTime("real-time mode", [&] { EXPECT_EQ(host.Set("RealTimeImgAcq", "True"), cam::kOk); });
    ExpectFrameGivenUp();
}

TEST_F(FrameInHands, GivesWayToTheEndOfTheModule) {
    WithinTime("end", [&] { host.Module()->DeInit(); });
    ExpectFrameGivenUp();
    EXPECT_EQ(KZSim_OpenHandles(), 0U);
    WithinTime("destruction", [&] { host.Destroy(); });
    EXPECT_THAT(OpenRegions(), IsEmpty());
}

// The host sits inside the notice of a loss, or of a frame that starts, and the SDK's stop waits
// for these threads, too.
class NoticeInHands : public ::testing::Test {
  protected:
    enum class Of { Loss, FrameStart };

    // `stop` runs once the host sits there, and is over.
    void During(Of what, const std::function<void(ModuleHost&)>& stop) {
        Xalog_ResetLevel(kErrorLevel);
        ModuleHost host("gige serial=A width=64 height=48; usb3 serial=B width=32 height=32");
        host.OpenForRequests("A");
        KZSim_SetFaults("A", "stopswait=1");
        std::atomic<bool> inside{false};
        const auto sit = [&] {
            if (!inside.exchange(true)) {
                EXPECT_TRUE(Eventually([] { return StopUnderWay(); }));
                AskForAll(host);
                EXPECT_EQ(host.Set("CameraName", "0"), cam::kInvalid);
                EXPECT_EQ(host.Set("CameraName", "B"), cam::kInvalid);
                EXPECT_EQ(host.Set("UseGenTL", "True"), cam::kInvalid);
                EXPECT_EQ(host.Get("UseGenTL"), "False$$$$$");
            }
        };
        const auto notices = host.onPublished.Attach([&](const std::string& text) {
            if (text == "CameraOffline=1") {
                sit();
            }
        });
        const auto reports = host.onReport.Attach([&](const Report& report) {
            if (report.code == kReportFrameStarted) {
                sit();
            }
        });
        KZSim_ClearJournal("A");
        if (what == Of::Loss) {
            KZSim_RaiseException("A", KZ_EXCEPTION_DISCONNECTED);
            KZSim_RaiseException("A", KZ_EXCEPTION_DISCONNECTED);  // the same loss once more
        } else {
            KZSim_RaiseEvent("A", "FrameStart");
        }
        ASSERT_TRUE(Eventually([&] { return inside.load(); }));
        WithinTime("stop", [&] { stop(host); });
        WithinTime("destruction", [&] { host.Destroy(); });
        EXPECT_EQ(KZSim_OpenHandles(), 0U);
    }
};

TEST_F(NoticeInHands, GivesWayToAFeatureAndGoesOnWithTheLossBehindIt) {
    for (const Of what : {Of::FrameStart, Of::Loss}) {
        During(what, [&](ModuleHost& host) {
            EXPECT_EQ(host.Set("Width", "32"), cam::kOk);
            if (what == Of::Loss) {
                EXPECT_TRUE(host.WaitForReport({kReportCameraSource, "1"}));
                EXPECT_THAT(host.Published(),
                            ElementsAre("CameraOnline=1", "CameraOffline=1", "CameraOnline=1"));
            }
            const auto image = host.Image();
            EXPECT_TRUE(image && image->width == (what == Of::Loss ? 64U : 32U));
        });
    }
}

TEST_F(NoticeInHands, GivesWayToAChoiceWhichOvertakesTheLoss) {
    for (const Of what : {Of::FrameStart, Of::Loss}) {
        During(what, [&](ModuleHost& host) {
            EXPECT_EQ(host.Set("CameraName", "B"), cam::kOk);
            const auto image = host.Image();
            EXPECT_TRUE(image && image->width == 32U);
            const auto told = host.StateReports();
            EXPECT_THAT(told, Not(Contains(Report{kReportCameraSource, "0"})));
            EXPECT_THAT(told, Not(Contains(Report{kReportCameraState, "1-0-B"})));
        });
        During(what, [&](ModuleHost& host) {
            EXPECT_EQ(host.Set("CameraName", "0"), cam::kOk);
            EXPECT_EQ(KZSim_OpenHandles(), 0U);
            EXPECT_THAT(host.StateReports(), Not(Contains(Report{kReportCameraSource, "0"})));
        });
    }
}

TEST_F(NoticeInHands, GivesWayToTheEndOfTheModule) {
    for (const Of what : {Of::FrameStart, Of::Loss}) {
        During(what, [](ModuleHost& host) { host.Module()->DeInit(); });
    }
}

// The conversion itself is slow; whoever stops the camera waits for it, and nothing else happens.
TEST(SlowConversion, IsWaitedForByStopCloseLossAndEnd) {
    Xalog_ResetLevel(kErrorLevel);
    const std::function<void(ModuleHost&)> ends[] = {
        [](ModuleHost& host) { host.Set("Width", "32"); },
        [](ModuleHost& host) { host.Set("CameraName", "0"); },
        [](ModuleHost&) { KZSim_Unplug("A"); }, [](ModuleHost& host) { host.Module()->DeInit(); },
        [](ModuleHost& host) { host.Destroy(); }};
    for (const auto& end : ends) {
        for (int round = 0; round < 3; ++round) {
            ModuleHost host("gige serial=A width=64 height=48 rate=500 format=BayerRG8");
            host.OpenForRequests("A");
            KZSim_SetFaults("A", "slow=KZ_CC_ConvertPixelType:20");
            host.Set("TriggerOff", "");
            const auto before = KZSim_FramesDelivered("A");
            ASSERT_TRUE(Eventually([&] { return KZSim_FramesDelivered("A") > before; }));
            WithinTime("end", [&] { end(host); });
            WithinTime("destruction", [&] { host.Destroy(); });
            EXPECT_EQ(KZSim_OpenHandles(), 0U);
        }
    }
    EXPECT_THAT(OpenRegions(), IsEmpty());
}

// One thread is offered frames and asks for the camera list inside; the other opens a camera, whose
// replayed parameters switch the first one off.
TEST(Replay, MaySwitchRunByCameraOffWhileAProcedureAsksForTheList) {
    Xalog_ResetLevel(kErrorLevel);
    ModuleHost host(kThreeCameras);
    std::atomic<bool> inside{false};
    std::atomic<bool> opening{false};
    const auto reports = host.onReport.Attach([&](const Report& report) {
        // Under the connection lock of an open.
        opening = opening || (inside && report.code == kReportCameraState);
    });
    const auto answers = host.onProcedure.Attach([&](std::int32_t, std::uint32_t) -> std::uint32_t {
        if (!inside.exchange(true)) {
            Eventually([&] { return opening.load(); });
            host.Get("CameraName");
        }
        return 0;
    });
    host.Relate(1);
    host.Set("CameraName", "A");
    host.Module()->LoadModuleData(Solution("B").get());
    host.Set("CameraName", "A");
    host.Set("TriggerSoftware", "");
    ASSERT_TRUE(Eventually([&] { return inside.load(); }));
    WithinTime("selection", [&] { EXPECT_EQ(host.Set("CameraName", "B"), cam::kOk); });
    WithinTime("destruction", [&] { host.Destroy(); });
}

}  // namespace
}  // namespace tests

// The module in front of GigE Vision cameras: processes that speak the protocol on the loopback
// network, lose packets, die and come back.
#include <gmock/gmock.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <future>
#include <memory>
#include <thread>

#include "camera/sdk/kz_camera_control.h"
#include "camera/sdk/pixel_format.h"
#include "imaging/shared_memory_base.h"
#include "platform/shared_mapping.h"
#include "standins/module_frame/module_frame_host.h"
#include "tests/support/fake_gige_camera.h"
#include "tests/support/module_host.h"

namespace tests {
namespace {

using namespace std::chrono_literals;
using cam::BufferNode;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

constexpr std::uint32_t kSize = 512;  // of the camera's picture as it starts, both ways
constexpr std::size_t kFrames = 100;
constexpr char kSoftware[] = "1";  // of TriggerSource, which starts as an input line of the camera
constexpr char kLoopback[] = "127.0.0.1";

const Report kLost{kReportCameraSource, "0"};
const Report kBack{kReportCameraSource, "1"};

Report On(const FakeGigECamera& camera) {
    return {kReportCameraState, "1-1-" + camera.Serial()};
}
Report Off(const FakeGigECamera& camera) {
    return {kReportCameraState, "1-0-" + camera.Serial()};
}

// The camera's picture counts up along each line and from line to line, and starts with the frame's
// number: a gap, a rest of an earlier picture and a picture of another frame all break the row.
constexpr std::uint32_t kShades = 255;
bool IsRightPicture(const BufferNode& node, std::uint32_t width = kSize,
                    std::uint32_t height = kSize) {
    if (node.width != width || node.height != height || node.pixelType != pixel_format::kMono8 ||
        node.dataLength != width * height) {
        return false;
    }
    for (std::uint32_t y = 0; y < height; ++y) {
        for (std::uint32_t x = 0; x < width; ++x) {
            if (node.data[y * width + x] != (node.frameNumber + x + y) % kShades) {
                return false;
            }
        }
    }
    return true;
}

// Frame numbers of the protocol have 16 bits and pass over 0; the camera starts just before the
// end.
std::uint32_t Distance(std::uint32_t from, std::uint32_t to) {
    constexpr std::uint32_t kNumbers = 65535;
    return (to + kNumbers - from) % kNumbers;
}
bool IsLater(std::uint32_t from, std::uint32_t to) {
    constexpr std::uint32_t kHalfOfNumbers = 32768;
    return from == 0 || (Distance(from, to) > 0 && Distance(from, to) < kHalfOfNumbers);
}

bool RightPictureComes(ModuleHost& host, std::uint32_t width = kSize,
                       std::uint32_t height = kSize) {
    return Eventually([&] {
        const auto image = host.Image();
        if (!image) {
            return false;
        }
        const bool right = IsRightPicture(*image, width, height);
        host.Free(*image);
        return right;
    });
}

// Whoever maps the region by its name sees the same picture.
bool IsSharedByName(const BufferNode& node) {
    platform::SharedMapping region;
    if (region.Open(node.sharedName) != 0 || region.Map() != 0) {
        return false;
    }
    cam::SharedRegionHeader header;
    std::memcpy(&header, region.View(), sizeof header);
    return std::string_view(header.name) == node.sharedName && header.dataSize >= node.dataLength &&
           std::memcmp(region.View() + header.headerLength, node.data, node.dataLength) == 0;
}

// For a module that has opened none yet. It looks once as it starts, which a camera that is slow to
// answer may miss.
bool IsListed(ModuleHost& host, const FakeGigECamera& camera) {
    return Eventually([&] {
        if (host.Get("CameraName", 8192).find('(' + camera.Serial() + ')') != std::string::npos) {
            return true;
        }
        host.Set("EnumCamera", "");
        return false;
    });
}

// From then on there is no frame without its trigger.
void TriggerBySoftware(ModuleHost& host) {
    EXPECT_EQ(host.Set("TriggerOn", ""), cam::kOk);
    EXPECT_EQ(host.Set("TriggerSource", kSoftware), cam::kOk);
    for (std::size_t before = host.Reports().size() + 1; before != host.Reports().size();) {
        before = host.Reports().size();
        std::this_thread::sleep_for(200ms);
    }
    host.Set("ClearCacheImage", "");
}

// Asks for images until the camera that could not be opened before is open.
bool IsOpenedOnRequest(ModuleHost& host) {
    host.ExpectTimeOut("TriggerSoftware no image");  // its trigger source is another one
    return Eventually([&] {
        if (const auto image = host.Image()) {
            host.Free(*image);
        }
        return host.Get("SmartCameraType") != "-1";
    });
}

// Runs `action` aside; false when it hangs, and then the process is not waited for either.
template <typename Action>
bool Ends(Action action) {
    constexpr std::chrono::seconds kLongest{60};
    auto done = std::make_shared<std::promise<void>>();
    auto future = done->get_future();
    std::thread([action, done] {
        action();
        done->set_value();
    }).detach();
    return future.wait_for(kLongest) == std::future_status::ready;
}

class RealCamera : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(IsListed(host, camera)); }

    // As a solution that was made for the camera: it sends frames by itself, and does so again
    // whenever it comes back, although it wakes up waiting for a signal on a line.
    void LoadSolution() {
        const Record record = RecordOf({{"TriggerProcessRunStatus", "False"},
                                        {"CameraName", camera.Serial()},
                                        {"SerialNumber", camera.Serial()},
                                        {"TriggerMode", "0"}});
        EXPECT_EQ(host.Module()->LoadModuleData(record.get()), cam::kOk);
        host.Relate(1);
    }

    void Open() {
        LoadSolution();
        EXPECT_EQ(host.StateReports(), std::vector{On(camera)});
        host.ClearReports();
    }

    FakeGigECamera camera{CameraAddress(1), CameraSerial(1)};
    ModuleHost host{RealCameras{}};
};

TEST_F(RealCamera, IsListedOpenedAndClosed) {
    const std::string entry = "\rAravis Fake (" + camera.Serial() + ")";
    EXPECT_THAT(host.Get("CameraName", 8192),
                AllOf(StartsWith("0$0$$$$Close\r"), HasSubstr(entry)));

    EXPECT_EQ(host.Set("CameraName", camera.Serial()), cam::kOk);
    EXPECT_THAT(host.Get("CameraName", 8192), HasSubstr('$' + camera.Serial() + "$$$$Close\r"));
    EXPECT_THAT(host.Get("CameraName", 8192), Not(StartsWith("0$")));
    EXPECT_EQ(host.Get("SerialNumber"), camera.Serial());
    EXPECT_EQ(host.Get("ModelName"), "Fake");
    EXPECT_EQ(host.Get("ManufacturerName"), "Aravis");
    EXPECT_EQ(host.Set("CameraName", "0"), cam::kOk);
    EXPECT_THAT(host.StateReports(), ElementsAre(On(camera), Off(camera)));
    EXPECT_THAT(host.Published(), ElementsAre("CameraOnline=1"));

    // Whom the list shows is the choice's own text: what the user picks comes back whole.
    EXPECT_EQ(host.Set("CameraName", "1$" + camera.Serial() + "$$$$Close" + entry), cam::kOk);
    EXPECT_EQ(host.Set("CameraName", "0$0$$$$Close"), cam::kOk);

    camera.Kill();
    EXPECT_EQ(host.Set("EnumCamera", ""), cam::kOk);
    EXPECT_THAT(host.Get("CameraName", 8192), Not(HasSubstr(entry)));
    EXPECT_EQ(host.Set("CameraName", camera.Serial()), cam::kOpenFailed);
}

TEST_F(RealCamera, ReadsAndWritesItsFeatures) {
    Open();
    EXPECT_EQ(host.Get("Width"), "512$1$2048$1$1$");
    EXPECT_EQ(host.Get("TriggerMode"), "0$0$1");
    EXPECT_EQ(host.Get("PixelFormat"),
              "17301505$17301515$17301514$17301512$17301513$17301505$35127316$17825799");
    EXPECT_THAT(host.Get("ExposureTimeAbs"), EndsWith("$10.000$10000000.000$1.000000$"));
    EXPECT_THAT(host.Get("AcquisitionFrameRate"), StartsWith("25.000$"));
    EXPECT_EQ(host.Get("DeviceModelName"), "Fake");

    EXPECT_EQ(host.Set("AcquisitionFrameRate", "50.000$0$0$1$"), cam::kOk);
    EXPECT_THAT(host.Get("AcquisitionFrameRate"), StartsWith("50.000$"));
    EXPECT_EQ(host.Set("GainAuto", "2"), cam::kOk);
    EXPECT_EQ(host.Get("GainAuto"), "2$1$3$2");
    EXPECT_EQ(host.Set("TestBoolean", "True"), cam::kOk);
    EXPECT_EQ(host.Get("TestBoolean"), "True");
    EXPECT_EQ(host.Set("TestBoolean", "False"), cam::kOk);
    EXPECT_EQ(host.Get("TestBoolean"), "False");
    EXPECT_EQ(host.Set("TestStringReg", "Station 4"), cam::kOk);
    EXPECT_EQ(host.Get("TestStringReg"), "Station 4");

    EXPECT_EQ(host.Set("OffsetX", "99999"), KZ_CC_E_NODE_RANGE);
    EXPECT_EQ(host.Set("GainAuto", "9"), KZ_CC_E_NODE_RANGE);
    EXPECT_EQ(host.Set("SensorWidth", "64"), KZ_CC_E_NODE_ACCESS);
    EXPECT_EQ(host.Set("UserSetSelector", "1"), cam::kOk);
    EXPECT_EQ(host.LogCount("param is not in node:UserSetSelector"), 1U);
    EXPECT_THAT(host.Get("CameraPreviewInfo"), EndsWith("$450$450$" + camera.Serial()));
}

TEST_F(RealCamera, DeliversAFrameForEachTrigger) {
    Open();
    ASSERT_TRUE(RightPictureComes(host));
    TriggerBySoftware(host);
    host.Set("SoftTriggerWaitTime", "20");
    // Of the free run before, a busy machine may have lost frames, and several may have waited.
    const std::string errors = host.Get("CameraErrorInfo");
    const std::size_t regions = OpenRegions().size();
    std::uint32_t last = 0;
    for (std::size_t frame = 0; frame < kFrames; ++frame) {
        const auto image = host.Image();
        ASSERT_TRUE(image.has_value()) << frame;
        EXPECT_TRUE(IsRightPicture(*image)) << frame;
        EXPECT_TRUE(IsSharedByName(*image)) << frame;
        EXPECT_TRUE(last == 0 || Distance(last, image->frameNumber) == 1)
            << image->frameNumber << " after " << last;
        last = image->frameNumber;
        EXPECT_EQ(host.Free(*image), cam::kOk);
    }
    EXPECT_EQ(OpenRegions().size(), regions);
    EXPECT_EQ(host.Get("CameraErrorInfo"), errors);
}

TEST_F(RealCamera, OffersItsFramesToAProcedure) {
    constexpr std::int32_t kProcedure = 7;
    struct Taken {
        std::uint32_t offered;
        std::uint32_t number;
        bool right;
    };
    // Filled by the module's thread until it is joined.
    std::vector<Taken> taken;
    std::atomic<bool> enough{false};
    const auto answers =
        host.onProcedure.Attach([&](std::int32_t procedure, std::uint32_t number) -> std::uint32_t {
            if (enough || procedure != kProcedure) {
                return kModuleFrameRefused;
            }
            if (const auto image = host.Image()) {
                taken.push_back({number, image->frameNumber, IsRightPicture(*image)});
                host.Free(*image);
            }
            enough = taken.size() == kFrames;
            return cam::kOk;
        });
    host.Relate(kProcedure);
    EXPECT_EQ(host.Set("CameraName", camera.Serial()), cam::kOk);
    EXPECT_EQ(host.Set("AcquisitionFrameRate", "100"), cam::kOk);
    EXPECT_EQ(host.Set("TriggerOff", ""), cam::kOk);
    EXPECT_TRUE(Eventually([&] { return enough.load(); }));
    host.Set("TriggerProcessRunStatus", "False");

    std::uint32_t last = 0;
    for (const Taken& frame : taken) {
        EXPECT_EQ(frame.number, frame.offered);
        EXPECT_TRUE(IsLater(last, frame.number)) << frame.number << " after " << last;
        EXPECT_TRUE(frame.right) << frame.number;
        last = frame.number;
    }
}

TEST_F(RealCamera, GoesOnAfterItsPictureChanged) {
    Open();
    ASSERT_TRUE(RightPictureComes(host));
    EXPECT_EQ(host.Set("Width", "256"), cam::kOk);
    EXPECT_EQ(host.Set("Height", "128"), cam::kOk);
    EXPECT_TRUE(RightPictureComes(host, 256, 128));
    // Larger than what the stream was set up for.
    EXPECT_EQ(host.Set("Width", "1024"), cam::kOk);
    EXPECT_TRUE(RightPictureComes(host, 1024, 128));

    const auto comesAs = [&](std::uint32_t pixelType, std::uint32_t bytesPerPixel) {
        return Eventually([&] {
            const auto image = host.Image();
            if (image) {
                host.Free(*image);
            }
            return image && image->pixelType == pixelType &&
                   image->dataLength == 1024 * 128 * bytesPerPixel;
        });
    };
    EXPECT_EQ(host.Set("PixelFormat", std::to_string(pixel_format::kRGB8)), cam::kOk);
    EXPECT_TRUE(comesAs(pixel_format::kRGB8, 3));
    EXPECT_EQ(host.Set("PixelFormat", std::to_string(pixel_format::kMono16)), cam::kOk);
    EXPECT_TRUE(comesAs(pixel_format::kMono8, 1));
    EXPECT_EQ(host.Set("PixelFormat", std::to_string(pixel_format::kBayerRG8)), cam::kOk);
    EXPECT_TRUE(comesAs(pixel_format::kRGB8, 3));
}

// Takes a module's frames on a thread of its own, and checks them.
class Watcher {
  public:
    explicit Watcher(ModuleHost& host) : m_host(host) {}
    ~Watcher() {
        m_done = true;
        m_thread.join();
    }

    [[nodiscard]] bool SeesMore() {
        constexpr std::size_t kMore = 5;
        const std::size_t before = m_pictures;
        return Eventually([&] { return m_pictures >= before + kMore; });
    }

  private:
    void Run() {
        std::uint32_t last = 0;
        while (!m_done) {
            if (const auto image = m_host.Image()) {
                EXPECT_TRUE(IsRightPicture(*image));
                EXPECT_TRUE(IsLater(last, image->frameNumber))
                    << image->frameNumber << " after " << last;
                last = image->frameNumber;
                m_host.Free(*image);
                ++m_pictures;
            }
        }
    }

    ModuleHost& m_host;
    std::atomic<bool> m_done{false};
    std::atomic<std::size_t> m_pictures{0};
    std::thread m_thread{[this] { Run(); }};
};

// And another module's camera never hears of it.
TEST_F(RealCamera, ComesBackFromEveryLoss) {
    constexpr int kRounds = 5;
    const FakeGigECamera otherCamera(CameraAddress(2), CameraSerial(2));
    ModuleHost otherModule(host, 2);
    ASSERT_TRUE(IsListed(otherModule, otherCamera));
    otherModule.OpenForRequests(otherCamera.Serial());
    EXPECT_EQ(otherModule.Set("TriggerOff", ""), cam::kOk);
    host.ClearReports();
    Open();
    ASSERT_TRUE(RightPictureComes(host));

    Watcher other(otherModule);
    std::vector<std::string> published = host.Published();
    std::size_t threads = 0;
    std::size_t files = 0;
    for (int round = 0; round < kRounds; ++round) {
        SCOPED_TRACE(round);
        camera.Kill();
        EXPECT_TRUE(other.SeesMore());
        ASSERT_TRUE(host.WaitForReport(kLost));
        EXPECT_THAT(host.StateReports(), ElementsAre(Off(camera), kLost));
        published.emplace_back("CameraOffline=1");
        EXPECT_EQ(host.Published(), published);

        camera.Start();
        EXPECT_TRUE(other.SeesMore());
        ASSERT_TRUE(host.WaitForReport(kBack));
        EXPECT_THAT(host.StateReports(), ElementsAre(Off(camera), kLost, On(camera), kBack));
        published.emplace_back("CameraOnline=1");
        EXPECT_EQ(host.Published(), published);
        ASSERT_TRUE(RightPictureComes(host));
        EXPECT_TRUE(other.SeesMore());
        EXPECT_EQ(host.LogCount("Camera reconnect success"), static_cast<std::size_t>(round) + 1);
        host.ClearReports();
        if (round == 0) {
            // A camera that is gone is given back in the background.
            std::this_thread::sleep_for(2s);
            threads = ThreadCount();
            files = OpenFileCount();
        }
    }
    EXPECT_TRUE(Eventually([&] { return ThreadCount() <= threads; })) << ThreadCount();
    // A camera has several files open; what one round leaves for the background is fewer than four
    // rounds would leave for good.
    EXPECT_TRUE(Eventually([&] { return OpenFileCount() <= files + 8; })) << OpenFileCount();
    // Frames that wait, of either module, and those under way.
    EXPECT_LE(OpenRegions().size(), 2 * 52U);
}

TEST_F(RealCamera, IsOpenedAndComesBackByItsAddress) {
    host.Set("TriggerProcessRunStatus", "False");
    host.Relate(1);
    host.Set("Type", "1");
    host.Set("LocalIP", kLoopback);
    host.Set("CameraIP", CameraAddress(99));
    EXPECT_NE(host.Set("ConnectIP", "True"), cam::kOk);
    EXPECT_EQ(host.Get("ConnectIP"), "False");
    EXPECT_EQ(host.LogCount('(' + CameraAddress(99) + ")Open failed, error code:"), 1U);

    host.Set("CameraIP", camera.Address());
    // Nobody looks for it elsewhere when it is slow to answer.
    ASSERT_TRUE(Eventually([&] { return host.Set("ConnectIP", "True") == cam::kOk; }));
    EXPECT_EQ(host.Get("ConnectIP"), "True");
    EXPECT_EQ(host.Get("ModelName"), "Fake");
    EXPECT_EQ(host.Get("SerialNumber"), "");
    EXPECT_EQ(host.Set("TriggerOff", ""), cam::kOk);
    EXPECT_TRUE(RightPictureComes(host));
    EXPECT_THAT(host.StateReports(), IsEmpty());
    EXPECT_THAT(host.Published(), ElementsAre("CameraOnline=1"));

    host.Set("AutoConnect", "True");
    camera.Kill();
    ASSERT_TRUE(host.WaitForReport(kLost));
    EXPECT_EQ(host.Get("ConnectIP"), "False");
    camera.Start();
    ASSERT_TRUE(host.WaitForLog("Camera reconnect success"));
    EXPECT_EQ(host.Set("TriggerOff", ""), cam::kOk);
    EXPECT_TRUE(RightPictureComes(host));
    EXPECT_THAT(host.Published(),
                ElementsAre("CameraOnline=1", "CameraOffline=1", "CameraOnline=1"));
}

TEST_F(RealCamera, IsSetUpAgainAsTheSolutionSays) {
    const std::pair<const char*, std::string> kValues[] = {{"CameraName", camera.Serial()},
                                                           {"SerialNumber", camera.Serial()},
                                                           {"Width", "320"},
                                                           {"AcquisitionFrameRate", "80"},
                                                           {"TestStringReg", "Station 4"},
                                                           {"TriggerSource", kSoftware},
                                                           {"TriggerProcessRunStatus", "False"}};
    const auto isSetUp = [&] {
        return host.Get("Width").starts_with("320$") &&
               host.Get("AcquisitionFrameRate").starts_with("80.000$") &&
               host.Get("TestStringReg") == "Station 4" &&
               host.Get("TriggerSource").starts_with("1$");
    };
    const std::string solution =
        (std::filesystem::temp_directory_path() / (camera.Serial() + ".solution")).string();
    for (const auto& [key, value] : kValues) {
        EXPECT_EQ(ModuleFrame_SetParam(host.Handle(), host.Module(), key, value.c_str()), cam::kOk)
            << key;
    }
    ASSERT_EQ(ModuleFrame_SaveSolution(host.Handle(), host.Module(), solution.c_str()), cam::kOk);
    EXPECT_EQ(host.Set("CameraName", "0"), cam::kOk);

    camera.Kill();
    camera.Start();
    const auto loaded = ModuleFrame_LoadSolution(host.Handle(), host.Module(), solution.c_str());
    std::filesystem::remove(solution);
    ASSERT_EQ(loaded, cam::kOk);
    EXPECT_TRUE(isSetUp());
    host.Relate(1);
    EXPECT_TRUE(RightPictureComes(host, 320));

    host.ClearReports();
    camera.Kill();
    ASSERT_TRUE(host.WaitForReport(kLost));
    camera.Start();
    ASSERT_TRUE(host.WaitForReport(On(camera)));
    EXPECT_TRUE(Eventually(isSetUp));
    EXPECT_TRUE(RightPictureComes(host, 320));
    // Found by the solution's record, which is not told as a change of the source.
    EXPECT_THAT(host.StateReports(), ElementsAre(Off(camera), kLost, On(camera)));
}

TEST_F(RealCamera, LetsARequestGoThatWaitsWhenItIsLost) {
    host.ExpectTimeOut("TriggerSoftware no image");
    Open();
    // It takes the software's trigger but waits for one on its line.
    EXPECT_EQ(host.Set("TriggerOn", ""), cam::kOk);
    std::this_thread::sleep_for(200ms);
    host.Set("ClearCacheImage", "");
    host.Set("SoftTriggerWaitTime", "1000");
    std::thread pull([&] {
        std::this_thread::sleep_for(300ms);
        camera.Kill();
    });
    EXPECT_TRUE(Ends([&] { EXPECT_FALSE(host.Image()); }));
    pull.join();
    host.Set("SoftTriggerWaitTime", "2");
    ASSERT_TRUE(host.WaitForReport(kLost));
    camera.Start();
    EXPECT_TRUE(RightPictureComes(host));
}

TEST_F(RealCamera, MayGoWhileTheModuleEnds) {
    // Destroyed before the loss is noticed, and while the camera is sought.
    for (const auto pause : {0ms, 3500ms}) {
        SCOPED_TRACE(pause.count());
        auto lone = std::make_unique<ModuleHost>(host, 2);
        ASSERT_TRUE(IsListed(*lone, camera));
        lone->OpenForRequests(camera.Serial());
        EXPECT_EQ(lone->Set("TriggerOff", ""), cam::kOk);
        ASSERT_TRUE(RightPictureComes(*lone));
        camera.Kill();
        std::this_thread::sleep_for(pause);
        ASSERT_TRUE(Ends([&] { lone.reset(); }));
        EXPECT_THAT(OpenRegions(), IsEmpty());
        camera.Start();
    }
    host.ClearReports();
    Open();
    EXPECT_TRUE(RightPictureComes(host));
}

TEST_F(RealCamera, MayGoBeforeItIsOpened) {
    host.Set("TriggerProcessRunStatus", "False");
    host.Relate(1);
    camera.Kill();
    EXPECT_EQ(host.Set("CameraName", camera.Serial()), KZ_CC_E_DEVICE_LOST);
    EXPECT_THAT(host.StateReports(), IsEmpty());
    camera.Start();
    EXPECT_TRUE(IsOpenedOnRequest(host));
    EXPECT_THAT(host.StateReports(), ElementsAre(On(camera)));
}

TEST_F(RealCamera, MayComeAfterItsSolution) {
    camera.Kill();
    host.Set("WaitForConnectingTime", "10");
    EXPECT_TRUE(Ends([&] { LoadSolution(); }));
    camera.Start();
    EXPECT_TRUE(host.WaitForReport(kBack));
    EXPECT_TRUE(RightPictureComes(host));
}

TEST_F(RealCamera, MayGoWhileItIsOpened) {
    Open();
    for (const auto moment : {5ms, 25ms}) {
        SCOPED_TRACE(moment.count());
        std::thread pull([&] {
            std::this_thread::sleep_for(moment);
            camera.Kill();
        });
        EXPECT_TRUE(Ends([&] { host.Set("CameraName", camera.Serial()); }));
        pull.join();
        camera.Start();
        EXPECT_TRUE(RightPictureComes(host)) << "with no help of the host";
    }
}

}  // namespace
}  // namespace tests

#include "camera/sdk/kz_camera_control.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "camera/sdk/pixel_format.h"
#include "standins/kz_camera_control/simulated_cameras.h"

// On Linux the library allocates through these; on Windows it has its own.
namespace {
std::atomic<int> allocationsToFailure{-1};  // below 0: none fails
}
[[gnu::noinline]] void* operator new(std::size_t size) {
    const bool fails = allocationsToFailure >= 0 && allocationsToFailure-- == 0;
    void* const block = fails ? nullptr : std::malloc(size);
    return block != nullptr ? block : throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* block) noexcept {
    std::free(block);
}
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}

namespace {

using testing::ElementsAre;
using namespace std::chrono_literals;

// A wait that long is a hang.
constexpr auto kPatience = 20s;
constexpr const char* kSerial = "S1";

// A gate that callbacks wait at; never for ever, so that a failing test ends.
class Gate {
  public:
    void Open() {
        const std::lock_guard lock(m_mutex);
        m_open = true;
        m_changed.notify_all();
    }
    bool Wait() {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, kPatience, [this] { return m_open; });
    }

  private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_open = false;
};

// Receives the callbacks of a handle and keeps account.
struct Receiver {
    Receiver() = default;
    // Waits for the frame in progress, which may come from any handle that was opened with it.
    ~Receiver() {
        for (const KZHandle handle : handles) {
            KZ_CC_StopGrabbing(handle);
        }
    }
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;

    std::vector<KZHandle> handles;
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<FrameOutInfo> frames;
    std::vector<std::uint8_t> lastPixels;
    std::vector<std::uint32_t> exceptions;
    std::vector<std::string> events;
    std::function<void()> onFrame;      // set before grabbing starts
    std::function<void()> onException;  // set before registering

    bool WaitFor(const std::function<bool()>& reached) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, kPatience, reached);
    }
    bool WaitForFrames(std::size_t count) {
        return WaitFor([this, count] { return frames.size() >= count; });
    }
    std::size_t FrameCount() {
        const std::lock_guard lock(mutex);
        return frames.size();
    }

    static void Frame(std::uint8_t* data, FrameOutInfo* info, void* user) {
        auto& self = *static_cast<Receiver*>(user);
        {
            const std::lock_guard lock(self.mutex);
            self.frames.push_back(*info);
            self.lastPixels.assign(data, data + info->frameLength);
            self.changed.notify_all();
        }
        if (self.onFrame) {
            self.onFrame();
        }
    }
    static void Exception(std::uint32_t messageType, void* user) {
        auto& self = *static_cast<Receiver*>(user);
        if (self.onException) {
            self.onException();
        }
        const std::lock_guard lock(self.mutex);
        self.exceptions.push_back(messageType);
        self.changed.notify_all();
    }
    static void Event(KZEventInfo* event, void* user) {
        auto& self = *static_cast<Receiver*>(user);
        const std::lock_guard lock(self.mutex);
        self.events.emplace_back(event->name);
        self.changed.notify_all();
    }
};

class KZCameraControl : public testing::Test {
  protected:
    void SetUp() override {
        KZSim_UseRealCameras(false);
        Configure("gige serial=S1 name=\"Line 1\" width=64 height=48 rate=200");
    }
    void TearDown() override {
        for (const KZHandle handle : m_handles) {
            KZ_CC_DestroyHandle(handle);
        }
        EXPECT_EQ(KZSim_OpenHandles(), 0U);
        KZSim_SetFaults("", "");
        KZSim_SetEnumerationHook(nullptr, nullptr);
        KZSim_Configure("");
    }

    static void Configure(const char* description) {
        ASSERT_EQ(KZSim_Configure(description), 0U) << description;
    }

    static CameraDeviceInfo Record(std::size_t index = 0) {
        KZDeviceList list{};
        EXPECT_EQ(KZ_CC_EnumDevices(KZ_TRANSPORT_GIGE | KZ_TRANSPORT_USB3, &list), KZ_CC_OK);
        EXPECT_LT(index, list.count);
        return index < list.count ? *list.devices[index] : CameraDeviceInfo{};
    }

    KZHandle Create(const CameraDeviceInfo& record = Record()) {
        KZHandle handle = nullptr;
        EXPECT_EQ(KZ_CC_CreateHandle(&handle, &record), KZ_CC_OK);
        m_handles.push_back(handle);
        return handle;
    }
    KZHandle Open() {
        const KZHandle handle = Create();
        EXPECT_EQ(KZ_CC_OpenDevice(handle, KZ_ACCESS_CONTROL, 0), KZ_CC_OK);
        return handle;
    }
    KZHandle OpenWithReceiver(Receiver& receiver) {
        const KZHandle handle = Open();
        receiver.handles.push_back(handle);
        EXPECT_EQ(KZ_CC_RegisterImageCallBackEx(handle, Receiver::Frame, &receiver), KZ_CC_OK);
        EXPECT_EQ(KZ_CC_RegisterExceptionCallBack(handle, Receiver::Exception, &receiver),
                  KZ_CC_OK);
        return handle;
    }
    static std::uint32_t EnumValue(KZHandle handle, const char* name) {
        KZEnumValue value{};
        EXPECT_EQ(KZ_CC_GetEnumValue(handle, name, &value), KZ_CC_OK) << name;
        return value.current;
    }
    // Into `rgb`, which has room for that.
    static std::uint32_t ToRgb(KZHandle handle, std::uint32_t pixelType, std::uint16_t width,
                               std::uint16_t height, const std::vector<std::uint8_t>& pixels,
                               std::vector<std::uint8_t>& rgb) {
        PixelConvertParam param{};
        param.width = width;
        param.height = height;
        param.sourcePixelType = pixelType;
        param.source = pixels.data();
        param.sourceLength = static_cast<std::uint32_t>(pixels.size());
        param.destinationPixelType = pixel_format::kRGB8;
        param.destination = rgb.data();
        param.destinationCapacity = static_cast<std::uint32_t>(rgb.size());
        return KZ_CC_ConvertPixelType(handle, &param);
    }

  private:
    std::vector<KZHandle> m_handles;
};

// --- Description and enumeration

TEST_F(KZCameraControl, RejectsWrongDescriptionsByLineAndKeepsTheCameras) {
    const std::pair<const char*, std::uint32_t> wrong[] = {
        {"firewire", 1},
        {"gige; usb3\nusb3 colour=1", 3},
        {"# one\ngige format=Mono9", 2},
        {"gige name=\"open", 1},
        {"gige ip=10.0.0.256", 1},
        {"gige ip=10.0.0.1.2", 1},
        {"gige width=65536", 1},
        {"gige height=7", 1},
        {"gige rate=nan", 1},
        {"gige serial=0123456789ABCDEFG", 1},  // longer than its field
        {"gige format=SdkColour24:compressed", 1},
    };
    for (const auto& [description, line] : wrong) {
        EXPECT_EQ(KZSim_Configure(description), line) << description;
    }
    EXPECT_STREQ(Record().gige.serialNumber, "S1");
}

TEST_F(KZCameraControl, ListsWhatTheDescriptionNames) {
    Configure(
        "# comment; with separator\n"
        "gige name=\"A;B #1\" ip=192.168.1.100 nic=192.168.1.1; usb3 # the rest has defaults\r\n"
        "gentl interface=2 serial=T1");
    const CameraDeviceInfo gige = Record(0);
    EXPECT_STREQ(gige.gige.userDefinedName, "A;B #1");
    EXPECT_EQ(gige.gige.currentIp, 0xC0A80164U);
    EXPECT_EQ(gige.gige.netExportIp, 0xC0A80101U);
    EXPECT_STREQ(Record(1).usb3.serialNumber, "SIM0002");

    KZDeviceList usbOnly{};
    EXPECT_EQ(KZ_CC_EnumDevices(KZ_TRANSPORT_USB3, &usbOnly), KZ_CC_OK);
    EXPECT_EQ(usbOnly.count, 1U);
}

TEST_F(KZCameraControl, RefusesAndCountsOverlappingEnumerations) {
    const std::uint32_t before = KZSim_EnumerationOverlaps();
    std::uint32_t nested = 0;
    KZSim_SetEnumerationHook(
        [](void* user) {
            KZDeviceList list{};
            *static_cast<std::uint32_t*>(user) = KZ_CC_EnumDevices(KZ_TRANSPORT_GIGE, &list);
        },
        &nested);
    EXPECT_STREQ(Record().gige.serialNumber, "S1");
    EXPECT_EQ(nested, KZ_CC_E_CALL_ORDER);
    EXPECT_EQ(KZSim_EnumerationOverlaps(), before + 1);
}

// --- Handles

TEST_F(KZCameraControl, TellsStaleAndInventedHandlesFromLiveOnes) {
    const KZHandle stale = Open();
    ASSERT_EQ(KZ_CC_DestroyHandle(stale), KZ_CC_OK);
    const KZHandle live = Open();
    EXPECT_NE(stale, live);
    int local = 0;
    KZIntValue value{};
    PixelConvertParam convert{};
    for (const KZHandle handle : {stale, KZHandle{nullptr}, KZHandle{&local}}) {
        EXPECT_EQ(KZ_CC_OpenDevice(handle, KZ_ACCESS_CONTROL, 0), KZ_CC_E_HANDLE);
        EXPECT_EQ(KZ_CC_StopGrabbing(handle), KZ_CC_E_HANDLE);
        EXPECT_EQ(KZ_CC_GetIntValue(handle, "Width", &value), KZ_CC_E_HANDLE);
        EXPECT_EQ(KZ_CC_SetStringValue(handle, "DeviceUserID", nullptr), KZ_CC_E_HANDLE);
        EXPECT_EQ(KZ_CC_ConvertPixelType(handle, &convert), KZ_CC_E_HANDLE);
        EXPECT_LT(KZ_CC_GetOptimalPacketSize(handle), 1);
        EXPECT_EQ(KZ_CC_DestroyHandle(handle), KZ_CC_E_HANDLE);
    }
}

TEST_F(KZCameraControl, InsistsOnTheOrderOfCalls) {
    const KZHandle handle = Create();
    KZIntValue value{};
    EXPECT_EQ(KZ_CC_GetIntValue(handle, "Width", &value), KZ_CC_E_CALL_ORDER);
    EXPECT_EQ(KZ_CC_StartGrabbing(handle), KZ_CC_E_CALL_ORDER);
    EXPECT_EQ(KZ_CC_CloseDevice(handle), KZ_CC_E_CALL_ORDER);
    ASSERT_EQ(KZ_CC_OpenDevice(handle, KZ_ACCESS_CONTROL, 0), KZ_CC_OK);
    EXPECT_EQ(KZ_CC_OpenDevice(handle, KZ_ACCESS_CONTROL, 0), KZ_CC_E_CALL_ORDER);
    EXPECT_EQ(KZ_CC_OpenDevice(Create(), KZ_ACCESS_EXCLUSIVE, 0), KZ_CC_E_OPEN_REFUSED);
    EXPECT_EQ(KZ_CC_StopGrabbing(handle), KZ_CC_OK);
    EXPECT_EQ(KZ_CC_StartGrabbing(handle), KZ_CC_OK);
    EXPECT_EQ(KZ_CC_StartGrabbing(handle), KZ_CC_E_CALL_ORDER);
    EXPECT_EQ(KZ_CC_CloseDevice(handle), KZ_CC_OK);
    EXPECT_EQ(KZ_CC_StopGrabbing(handle), KZ_CC_E_CALL_ORDER);
}

TEST_F(KZCameraControl, OpensAGigECameraByItsAddressAlone) {
    Configure("gige serial=S1 ip=10.0.0.2 nic=10.0.0.1; gige serial=S2 ip=10.0.0.3 nic=10.0.0.1");
    CameraDeviceInfo record{};
    record.transportType = KZ_TRANSPORT_GIGE;
    record.gige.currentIp = 0x0A000003;
    record.gige.netExportIp = 0x0A000001;
    KZSim_ClearJournal("S2");
    EXPECT_EQ(KZ_CC_OpenDevice(Create(record), KZ_ACCESS_CONTROL, 0), KZ_CC_OK);
    EXPECT_NE(KZSim_Journal("S2", nullptr, 0), 0U);
    record.gige.netExportIp = 0x0A000009;
    EXPECT_EQ(KZ_CC_OpenDevice(Create(record), KZ_ACCESS_CONTROL, 0), KZ_CC_E_DEVICE_LOST);
}

// --- Frames

TEST_F(KZCameraControl, RunsFreeWithReadableNumbersThatStartAtOne) {
    Receiver receiver;
    const KZHandle handle = OpenWithReceiver(receiver);
    for (int acquisition = 0; acquisition < 2; ++acquisition) {
        {
            const std::lock_guard lock(receiver.mutex);
            receiver.frames.clear();
        }
        ASSERT_EQ(KZ_CC_StartGrabbing(handle), KZ_CC_OK);
        ASSERT_TRUE(receiver.WaitForFrames(5));
        ASSERT_EQ(KZ_CC_StopGrabbing(handle), KZ_CC_OK);
        EXPECT_EQ(receiver.frames[0].frameNumber, 1U);
        const FrameOutInfo& last = receiver.frames.back();
        EXPECT_EQ(last.frameLength, 64U * 48U);
        EXPECT_EQ(KZSim_FrameNumberIn(receiver.lastPixels.data(), last.pixelType),
                  last.frameNumber);
    }
    EXPECT_GE(KZSim_FramesDelivered(kSerial), 10U);
    ASSERT_EQ(KZ_CC_RegisterImageCallBackEx(handle, nullptr, nullptr), KZ_CC_OK);
    ASSERT_EQ(KZ_CC_StartGrabbing(handle), KZ_CC_OK);
    EXPECT_FALSE(KZSim_DeliverFrame(kSerial, nullptr, nullptr)) << "nobody takes it";
}

TEST_F(KZCameraControl, TakesPicturesOnSoftwareTrigger) {
    Receiver receiver;
    const KZHandle handle = OpenWithReceiver(receiver);
    ASSERT_EQ(KZ_CC_SetEnumValue(handle, "TriggerMode", 1), KZ_CC_OK);
    ASSERT_EQ(KZ_CC_SetCommandValue(handle, "TriggerSoftware"), KZ_CC_OK);  // nobody grabs yet
    ASSERT_EQ(KZ_CC_StartGrabbing(handle), KZ_CC_OK);
    for (std::size_t count = 1; count <= 3; ++count) {
        ASSERT_EQ(KZ_CC_SetCommandValue(handle, "TriggerSoftware"), KZ_CC_OK);
        ASSERT_TRUE(receiver.WaitForFrames(count));
    }
    ASSERT_EQ(KZ_CC_SetEnumValueByString(handle, "TriggerSource", "Line0"), KZ_CC_OK);
    EXPECT_EQ(KZ_CC_SetCommandValue(handle, "TriggerSoftware"), KZ_CC_E_NODE_ACCESS);
    ASSERT_EQ(KZ_CC_StopGrabbing(handle), KZ_CC_OK);
    EXPECT_EQ(receiver.FrameCount(), 3U);

    // A burst, and free run as soon as the trigger is off.
    ASSERT_EQ(KZ_CC_SetEnumValueByString(handle, "TriggerSource", "Software"), KZ_CC_OK);
    ASSERT_EQ(KZ_CC_SetEnumValueByString(handle, "TriggerSelector", "FrameBurstStart"), KZ_CC_OK);
    ASSERT_EQ(KZ_CC_SetIntValue(handle, "AcquisitionBurstFrameCount", 4), KZ_CC_OK);
    ASSERT_EQ(KZ_CC_StartGrabbing(handle), KZ_CC_OK);
    ASSERT_EQ(KZ_CC_SetCommandValue(handle, "TriggerSoftware"), KZ_CC_OK);
    ASSERT_TRUE(receiver.WaitForFrames(7));
    ASSERT_EQ(KZ_CC_SetEnumValue(handle, "TriggerMode", 0), KZ_CC_OK);
    EXPECT_TRUE(receiver.WaitForFrames(9));
}

TEST_F(KZCameraControl, StoppingWaitsForTheFrameInProgressAndNoneFollows) {
    // Each way to stop, with the callback converting pixels through the handle while it is waited
    // for.
    const std::function<std::uint32_t(KZHandle)> stops[] = {KZ_CC_StopGrabbing, KZ_CC_CloseDevice,
                                                            KZ_CC_DestroyHandle};
    for (const auto& stop : stops) {
        Receiver receiver;
        Gate inside;
        Gate leave;
        std::atomic<bool> left{false};
        std::atomic<std::uint32_t> converted{KZ_CC_E_HANDLE};
        KZHandle handle = nullptr;
        receiver.onFrame = [&] {
            inside.Open();
            leave.Wait();
            std::vector<std::uint8_t> rgb(12);
            converted = ToRgb(handle, pixel_format::kMono8, 2, 2, {1, 2, 3, 4}, rgb);
            left = true;
        };
        handle = OpenWithReceiver(receiver);
        ASSERT_EQ(KZ_CC_StartGrabbing(handle), KZ_CC_OK);
        ASSERT_TRUE(inside.Wait());
        auto stopped = std::async(std::launch::async, [&] {
            const std::uint32_t code = stop(handle);
            EXPECT_TRUE(left);
            return code;
        });
        // The stopper gets the time to be inside its wait; were it not to wait, it would be done.
        EXPECT_EQ(stopped.wait_for(50ms), std::future_status::timeout);
        leave.Open();
        ASSERT_EQ(stopped.wait_for(kPatience), std::future_status::ready);
        EXPECT_EQ(stopped.get(), KZ_CC_OK);
        EXPECT_EQ(converted, KZ_CC_OK);
        const std::size_t count = receiver.FrameCount();
        std::this_thread::sleep_for(30ms);
        EXPECT_EQ(receiver.FrameCount(), count);
        KZ_CC_DestroyHandle(handle);
    }
}

TEST_F(KZCameraControl, RefusesToStopFromWithinTheFrameCallback) {
    Receiver receiver;
    KZHandle handle = nullptr;
    std::vector<std::uint32_t> answers;
    receiver.onFrame = [&] {
        if (answers.empty()) {
            answers = {KZ_CC_StopGrabbing(handle), KZ_CC_CloseDevice(handle),
                       KZ_CC_DestroyHandle(handle)};
        }
    };
    handle = OpenWithReceiver(receiver);
    ASSERT_EQ(KZ_CC_StartGrabbing(handle), KZ_CC_OK);
    ASSERT_TRUE(receiver.WaitForFrames(2));
    ASSERT_EQ(KZ_CC_StopGrabbing(handle), KZ_CC_OK);
    EXPECT_THAT(answers, ElementsAre(KZ_CC_E_CALL_ORDER, KZ_CC_E_CALL_ORDER, KZ_CC_E_CALL_ORDER));
}

TEST_F(KZCameraControl, ASlowCallbackLosesFramesThatAreMissingInTheNumbers) {
    ASSERT_NO_FATAL_FAILURE(Configure("gige serial=S1 width=64 height=48 rate=1000"));
    Receiver receiver;
    receiver.onFrame = [] { std::this_thread::sleep_for(40ms); };
    const KZHandle handle = OpenWithReceiver(receiver);
    ASSERT_EQ(KZ_CC_StartGrabbing(handle), KZ_CC_OK);
    ASSERT_TRUE(receiver.WaitForFrames(3));
    KZGigEMatchInfo statistics{};
    KZMatchInfo request{KZ_MATCH_INFO_GIGE, sizeof statistics, &statistics};
    ASSERT_EQ(KZ_CC_GetAllMatchInfo(handle, &request), KZ_CC_OK);
    ASSERT_EQ(KZ_CC_StopGrabbing(handle), KZ_CC_OK);
    EXPECT_GT(statistics.lostFrames, 0U);
    request.size = sizeof statistics - 1;
    EXPECT_EQ(KZ_CC_GetAllMatchInfo(handle, &request), KZ_CC_E_PARAMETER);
    request.type = KZ_MATCH_INFO_USB3;
    EXPECT_EQ(KZ_CC_GetAllMatchInfo(handle, &request), KZ_CC_E_NOT_SUPPORTED);
    EXPECT_GT(receiver.frames.back().frameNumber, receiver.frames.size());
}

TEST_F(KZCameraControl, SendsEveryFormatSoThatItConvertsBackToThePicture) {
    Receiver receiver;
    const KZHandle handle = OpenWithReceiver(receiver);
    KZEnumValue formats{};
    ASSERT_EQ(KZ_CC_GetEnumValue(handle, "PixelFormat", &formats), KZ_CC_OK);
    ASSERT_GT(formats.supportedCount, 40U);
    ASSERT_EQ(KZ_CC_SetEnumValue(handle, "TriggerMode", 1), KZ_CC_OK);
    for (std::uint32_t i = 0; i < formats.supportedCount; ++i) {
        const std::uint32_t format = formats.supported[i];
        SCOPED_TRACE(testing::Message() << std::hex << format);
        const std::size_t before = receiver.FrameCount();
        ASSERT_EQ(KZ_CC_SetEnumValue(handle, "PixelFormat", format), KZ_CC_OK);
        ASSERT_EQ(KZ_CC_StartGrabbing(handle), KZ_CC_OK);
        ASSERT_EQ(KZ_CC_SetCommandValue(handle, "TriggerSoftware"), KZ_CC_OK);
        ASSERT_TRUE(receiver.WaitForFrames(before + 1));
        ASSERT_EQ(KZ_CC_StopGrabbing(handle), KZ_CC_OK);
        const FrameOutInfo& info = receiver.frames.back();
        ASSERT_EQ(info.pixelType, format);

        std::vector<std::uint8_t> pixels = receiver.lastPixels;
        std::uint32_t plain = format;
        if ((format & pixel_format::kCompressedBit) != 0 &&
            format != pixel_format::kSdkUncompressedColour) {
            std::vector<std::uint8_t> decoded(64 * 48 * 4);
            HbDecodeParam param{};
            param.source = pixels.data();
            param.sourceLength = info.frameLength;
            param.destination = decoded.data();
            param.destinationCapacity = static_cast<std::uint32_t>(decoded.size());
            ASSERT_EQ(KZ_CC_HB_Decode(handle, &param), KZ_CC_OK);
            plain = param.decodedPixelType;
            EXPECT_EQ(plain, format & ~pixel_format::kCompressedBit);
            decoded.resize(param.decodedLength);
            pixels = decoded;
        }
        const std::uint32_t bits = pixel_format::BitsPerPixel(plain);
        ASSERT_EQ(pixels.size(), 64U * 48U * bits / 8);
        std::vector<std::uint8_t> rgb(64 * 48 * 3);
        ASSERT_EQ(ToRgb(handle, plain, 64, 48, pixels, rgb), KZ_CC_OK);

        // Grey and plain colour come back exactly; mosaics and halved chroma, inside the bars.
        const bool bayer = (plain >= pixel_format::kBayerGR8 && plain <= pixel_format::kBayerBG8) ||
                           (plain >= pixel_format::kBayerGR10 && plain <= pixel_format::kBayerBG12);
        const bool grey = plain >> 24 == 1 && !bayer;
        if (grey || bits == 24) {
            EXPECT_EQ(KZSim_FrameNumberIn(rgb.data(), pixel_format::kRGB8), info.frameNumber);
        }
        // In the picture of frame 1, the middle of the second bar of eight and the two after it;
        // grey is a ramp that starts at 64.
        const std::uint8_t bars[3][3] = {{235, 235, 16}, {16, 235, 235}, {16, 235, 16}};
        for (std::size_t bar = 0; bar < 3; ++bar) {
            const std::size_t x = bar * 8 + 3 + bar % 2;  // of a pair, the left or the right one
            for (std::size_t channel = 0; channel < 3; ++channel) {
                const int expected = grey ? static_cast<int>(64 + x + 40) : bars[bar][channel];
                EXPECT_NEAR(rgb[(40 * 64 + x) * 3 + channel], expected, grey ? 0 : 2);
            }
        }
    }
}

// --- Features

TEST_F(KZCameraControl, ChecksWritesByNameTypeRangeAndAccess) {
    const KZHandle handle = Open();
    KZIntValue width{};
    ASSERT_EQ(KZ_CC_GetWidth(handle, &width), KZ_CC_OK);
    EXPECT_EQ(width.current, 64U);
    EXPECT_EQ(width.maximum, 64U);
    EXPECT_EQ(KZ_CC_SetIntValue(handle, "Width", 66), KZ_CC_E_NODE_RANGE);
    EXPECT_EQ(KZ_CC_SetIntValue(handle, "Width", 33), KZ_CC_E_NODE_RANGE);
    EXPECT_EQ(KZ_CC_SetFloatValue(handle, "Width", 32.0F), KZ_CC_E_NODE_TYPE);
    EXPECT_EQ(KZ_CC_SetIntValue(handle, "ExposureTimeAbs", 32), KZ_CC_E_NODE_MISSING);
    EXPECT_EQ(KZ_CC_SetFloatValue(handle, "ExposureTime", 1.0F), KZ_CC_E_NODE_RANGE);
    EXPECT_EQ(KZ_CC_SetEnumValue(handle, "PixelFormat", 1), KZ_CC_E_NODE_RANGE);
    EXPECT_EQ(KZ_CC_SetEnumValueByString(handle, "PixelFormat", "Mono9"), KZ_CC_E_NODE_RANGE);
    EXPECT_EQ(KZ_CC_SetBoolValue(handle, "TriggerMode", true), KZ_CC_E_NODE_TYPE);
    EXPECT_EQ(KZ_CC_SetStringValue(handle, "DeviceModelName", "X"), KZ_CC_E_NODE_ACCESS);
    EXPECT_EQ(KZ_CC_SetCommandValue(handle, "Width"), KZ_CC_E_NODE_TYPE);
    EXPECT_EQ(KZ_CC_SetIntValue(handle, nullptr, 1), KZ_CC_E_PARAMETER);

    ASSERT_EQ(KZ_CC_StartGrabbing(handle), KZ_CC_OK);
    EXPECT_EQ(KZ_CC_SetIntValue(handle, "Width", 32), KZ_CC_E_NODE_ACCESS);
    EXPECT_EQ(KZ_CC_SetEnumValue(handle, "PixelFormat", pixel_format::kMono8), KZ_CC_E_NODE_ACCESS);
    EXPECT_EQ(KZ_CC_SetFloatValue(handle, "ExposureTime", 100.0F), KZ_CC_OK);
    ASSERT_EQ(KZ_CC_StopGrabbing(handle), KZ_CC_OK);
    EXPECT_EQ(KZ_CC_SetIntValue(handle, "Width", 32), KZ_CC_OK);
}

TEST_F(KZCameraControl, KeepsLineSettingsForEachLine) {
    const KZHandle handle = Open();
    ASSERT_EQ(KZ_CC_SetEnumValue(handle, "LineSelector", 1), KZ_CC_OK);
    ASSERT_EQ(KZ_CC_SetEnumValue(handle, "LineMode", 8), KZ_CC_OK);
    ASSERT_EQ(KZ_CC_SetEnumValue(handle, "LineSelector", 3), KZ_CC_OK);
    EXPECT_EQ(EnumValue(handle, "LineMode"), 0U);
    ASSERT_EQ(KZ_CC_SetEnumValue(handle, "LineSelector", 1), KZ_CC_OK);
    EXPECT_EQ(EnumValue(handle, "LineMode"), 8U);
}

TEST_F(KZCameraControl, LoadsWhatAUserSetSaved) {
    KZHandle handle = Open();
    ASSERT_EQ(KZ_CC_SetEnumValueByString(handle, "UserSetSelector", "UserSet1"), KZ_CC_OK);
    ASSERT_EQ(KZ_CC_SetFloatValue(handle, "ExposureTime", 777.0F), KZ_CC_OK);
    ASSERT_EQ(KZ_CC_SetCommandValue(handle, "UserSetSave"), KZ_CC_OK);
    ASSERT_EQ(KZ_CC_SetFloatValue(handle, "ExposureTime", 20.0F), KZ_CC_OK);

    // It survives the loss of power, what was not saved does not.
    ASSERT_TRUE(KZSim_Unplug(kSerial));
    ASSERT_TRUE(KZSim_Plug(kSerial));
    handle = Open();
    KZFloatValue exposure{};
    ASSERT_EQ(KZ_CC_GetFloatValue(handle, "ExposureTime", &exposure), KZ_CC_OK);
    EXPECT_EQ(exposure.current, 5000.0F);
    ASSERT_EQ(KZ_CC_SetEnumValueByString(handle, "UserSetSelector", "UserSet1"), KZ_CC_OK);
    ASSERT_EQ(KZ_CC_SetCommandValue(handle, "UserSetLoad"), KZ_CC_OK);
    ASSERT_EQ(KZ_CC_GetFloatValue(handle, "ExposureTime", &exposure), KZ_CC_OK);
    EXPECT_EQ(exposure.current, 777.0F);

    ASSERT_EQ(KZ_CC_SetEnumValueByString(handle, "UserSetSelector", "Default"), KZ_CC_OK);
    EXPECT_EQ(KZ_CC_SetCommandValue(handle, "UserSetSave"), KZ_CC_E_NODE_ACCESS);
    ASSERT_EQ(KZ_CC_StartGrabbing(handle), KZ_CC_OK);
    EXPECT_EQ(KZ_CC_SetCommandValue(handle, "UserSetLoad"), KZ_CC_E_NODE_ACCESS);
}

// --- Exceptions and events

TEST_F(KZCameraControl, ALostCameraTellsOnceAndAnswersEverythingAtOnce) {
    Receiver receiver;
    const KZHandle handle = OpenWithReceiver(receiver);
    ASSERT_EQ(KZ_CC_StartGrabbing(handle), KZ_CC_OK);
    ASSERT_TRUE(receiver.WaitForFrames(1));
    ASSERT_TRUE(KZSim_Unplug(kSerial));
    ASSERT_TRUE(KZSim_Unplug(kSerial));
    ASSERT_TRUE(receiver.WaitFor([&] { return !receiver.exceptions.empty(); }));

    KZIntValue value{};
    EXPECT_EQ(KZ_CC_GetWidth(handle, &value), KZ_CC_E_DEVICE_LOST);
    EXPECT_EQ(KZ_CC_SetEnumValue(handle, "TriggerMode", 1), KZ_CC_E_DEVICE_LOST);
    EXPECT_EQ(KZ_CC_StopGrabbing(handle), KZ_CC_E_DEVICE_LOST);
    EXPECT_EQ(KZ_CC_StartGrabbing(handle), KZ_CC_E_DEVICE_LOST);
    EXPECT_LT(KZ_CC_GetOptimalPacketSize(handle), 1);
    EXPECT_FALSE(KZSim_DeliverFrame(kSerial, nullptr, nullptr));
    KZDeviceList list{};
    EXPECT_EQ(KZ_CC_EnumDevices(KZ_TRANSPORT_GIGE, &list), KZ_CC_OK);
    EXPECT_EQ(list.count, 0U);

    // Back again, it is another user's until the old handle lets go of nothing.
    ASSERT_TRUE(KZSim_Plug(kSerial));
    EXPECT_EQ(KZ_CC_GetWidth(handle, &value), KZ_CC_E_DEVICE_LOST);
    const KZHandle again = Open();
    EXPECT_EQ(KZ_CC_CloseDevice(handle), KZ_CC_OK);
    EXPECT_EQ(KZ_CC_DestroyHandle(handle), KZ_CC_OK);
    EXPECT_EQ(KZ_CC_GetWidth(again, &value), KZ_CC_OK);
    EXPECT_THAT(receiver.exceptions, ElementsAre(KZ_EXCEPTION_DISCONNECTED));
}

TEST_F(KZCameraControl, DestroyingDoesNotWaitForAnExceptionInProgressAndNoneFollows) {
    Receiver receiver;
    Gate inside;
    Gate leave;
    receiver.onException = [&] {
        inside.Open();
        EXPECT_TRUE(leave.Wait());
    };
    const KZHandle handle = OpenWithReceiver(receiver);
    ASSERT_TRUE(KZSim_RaiseException(kSerial, 0x9001));
    ASSERT_TRUE(KZSim_RaiseException(kSerial, 0x9002));
    ASSERT_TRUE(inside.Wait());
    auto destroyed = std::async(std::launch::async, KZ_CC_DestroyHandle, handle);
    EXPECT_EQ(destroyed.wait_for(kPatience), std::future_status::ready);
    leave.Open();
    ASSERT_TRUE(receiver.WaitFor([&] { return !receiver.exceptions.empty(); }));
    std::this_thread::sleep_for(30ms);
    const std::lock_guard lock(receiver.mutex);
    EXPECT_THAT(receiver.exceptions, ElementsAre(0x9001U));
}

TEST_F(KZCameraControl, EventsComeWithFramesOnAThreadOfTheirOwn) {
    Receiver receiver;
    Gate leave;
    receiver.onFrame = [&] { EXPECT_TRUE(leave.Wait()); };
    const KZHandle handle = OpenWithReceiver(receiver);
    EXPECT_EQ(KZ_CC_RegisterEventCallBackEx(handle, "NoSuchEvent", Receiver::Event, &receiver),
              KZ_CC_E_NODE_MISSING);
    ASSERT_EQ(KZ_CC_RegisterEventCallBackEx(handle, "FrameStart", Receiver::Event, &receiver),
              KZ_CC_OK);
    ASSERT_EQ(KZ_CC_SetEnumValue(handle, "TriggerMode", 1), KZ_CC_OK);
    ASSERT_EQ(KZ_CC_StartGrabbing(handle), KZ_CC_OK);
    ASSERT_EQ(KZ_CC_SetCommandValue(handle, "TriggerSoftware"), KZ_CC_OK);
    // While the frame callback is held up.
    EXPECT_TRUE(receiver.WaitFor([&] { return receiver.events.size() == 1; }));
    ASSERT_TRUE(KZSim_RaiseEvent(kSerial, "Unheard"));
    ASSERT_TRUE(KZSim_RaiseEvent(kSerial, "FrameStart"));
    EXPECT_TRUE(receiver.WaitFor([&] { return receiver.events.size() == 2; }));
    leave.Open();
    ASSERT_EQ(KZ_CC_StopGrabbing(handle), KZ_CC_OK);
    EXPECT_THAT(receiver.events, ElementsAre("FrameStart", "FrameStart"));
}

// --- Faults

TEST_F(KZCameraControl, ShowsTheFaultsThatAreAskedFor) {
    for (const char* const wrong : {"open", "open=x", "fail=KZ_CC_OpenDevice", "nonsense=1",
                                    "missing=", "slow=KZ_CC_OpenDevice:fast"}) {
        EXPECT_FALSE(KZSim_SetFaults(kSerial, wrong)) << wrong;
    }
    EXPECT_FALSE(KZSim_SetFaults("unknown", ""));

    Receiver receiver;
    const KZHandle handle = OpenWithReceiver(receiver);
    ASSERT_TRUE(KZSim_SetFaults(
        kSerial, "missing=Gamma range=ExposureTime:2 decode=0x80000006 short=100 stop=2147484166"));
    KZNodeType type{};
    EXPECT_EQ(KZ_XML_GetNodeInterfaceType(handle, "Gamma", &type), KZ_CC_E_NODE_MISSING);
    EXPECT_EQ(KZ_CC_SetFloatValue(handle, "ExposureTime", 100.0F), KZ_CC_E_NODE_RANGE);
    EXPECT_EQ(KZ_CC_SetFloatValue(handle, "ExposureTime", 100.0F), KZ_CC_E_NODE_RANGE);
    EXPECT_EQ(KZ_CC_SetFloatValue(handle, "ExposureTime", 100.0F), KZ_CC_OK);
    HbDecodeParam decode{};
    EXPECT_EQ(KZ_CC_HB_Decode(handle, &decode), KZ_CC_E_NO_DATA);
    ASSERT_EQ(KZ_CC_StartGrabbing(handle), KZ_CC_OK);
    ASSERT_TRUE(receiver.WaitForFrames(1));
    EXPECT_EQ(KZ_CC_StopGrabbing(handle), KZ_CC_E_DEVICE_LOST);
    const std::size_t count = receiver.FrameCount();
    EXPECT_TRUE(receiver.WaitForFrames(count + 1));  // the call did nothing
    EXPECT_EQ(KZ_CC_CloseDevice(handle), KZ_CC_OK);
    EXPECT_EQ(receiver.frames.back().frameLength, 64U * 48U - 100U);
}

TEST_F(KZCameraControl, ASlowCallHoldsUpTheOthersOfItsHandle) {
    const KZHandle handle = Open();
    ASSERT_TRUE(KZSim_SetFaults(kSerial, "slow=KZ_CC_SetEnumValue:200"));
    KZSim_ClearJournal(kSerial);
    std::thread writer([&] { EXPECT_EQ(KZ_CC_SetEnumValue(handle, "TriggerMode", 1), KZ_CC_OK); });
    while (KZSim_Journal(kSerial, nullptr, 0) == 0) {  // until the call is inside
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_EQ(EnumValue(handle, "TriggerMode"), 1U);
    writer.join();
}

// --- All at once

// Whichever allocation it is that fails, on a caller's thread or on the camera's.
TEST_F(KZCameraControl, AnswersWithACodeWhereMemoryRunsOut) {
    Configure("gige serial=S1 width=64 height=48 rate=1000");
    const CameraDeviceInfo record = Record();
    std::atomic<int> frames{0};
    const auto count = [](std::uint8_t*, FrameOutInfo*, void* user) {
        ++*static_cast<std::atomic<int>*>(user);
    };
    bool failed = true;
    for (int allowed = 0; failed; ++allowed) {
        SCOPED_TRACE(allowed);
        frames = 0;
        KZHandle handle = nullptr;
        allocationsToFailure = allowed;
        const std::uint32_t codes[] = {
            KZ_CC_CreateHandle(&handle, &record), KZ_CC_OpenDevice(handle, KZ_ACCESS_CONTROL, 0),
            KZ_CC_RegisterEventCallBackEx(
                handle, "FrameStart", [](KZEventInfo*, void*) {}, nullptr),
            KZ_CC_RegisterImageCallBackEx(handle, count, &frames), KZ_CC_StartGrabbing(handle)};
        const bool grabs = codes[3] == KZ_CC_OK && codes[4] == KZ_CC_OK;
        const auto end = std::chrono::steady_clock::now() + kPatience;
        while (grabs && frames < 3 && std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(1ms);
        }
        failed = allocationsToFailure.exchange(-1) < 0;
        for (const std::uint32_t code : codes) {
            EXPECT_THAT(code, testing::AnyOf(KZ_CC_OK, KZ_CC_E_RESOURCE, KZ_CC_E_HANDLE,
                                             KZ_CC_E_CALL_ORDER));
        }
        EXPECT_TRUE(!grabs || frames >= 3) << "its thread goes on";
        EXPECT_EQ(KZ_CC_DestroyHandle(handle), handle == nullptr ? KZ_CC_E_HANDLE : KZ_CC_OK);
        EXPECT_LT(allowed, 10'000);
    }
}

TEST_F(KZCameraControl, BearsEveryThreadBusyWhileTheCameraComesAndGoes) {
    std::atomic<bool> running{true};
    std::thread puller([&] {
        while (running) {
            KZSim_Unplug(kSerial);
            KZSim_Plug(kSerial);
            KZSim_RaiseEvent(kSerial, "FrameStart");
            std::this_thread::sleep_for(3ms);
        }
    });
    std::thread deliverer([&] {
        const std::uint8_t pixels[4] = {};
        FrameOutInfo info{};
        info.frameLength = sizeof pixels;
        while (running) {
            KZSim_DeliverFrame(kSerial, pixels, &info);
            std::this_thread::sleep_for(1ms);
        }
    });
    // Outlives the test: an event callback may be in progress when its handle is gone.
    static Receiver receiver;
    CameraDeviceInfo record{};
    record.transportType = KZ_TRANSPORT_GIGE;
    std::strcpy(record.gige.serialNumber, kSerial);
    for (int round = 0; round < 50; ++round) {
        KZHandle handle = nullptr;
        ASSERT_EQ(KZ_CC_CreateHandle(&handle, &record), KZ_CC_OK);
        KZ_CC_OpenDevice(handle, KZ_ACCESS_CONTROL, 0);
        KZ_CC_RegisterImageCallBackEx(handle, Receiver::Frame, &receiver);
        KZ_CC_RegisterEventCallBackEx(handle, "FrameStart", Receiver::Event, &receiver);
        KZ_CC_StartGrabbing(handle);
        std::thread rival([handle] {
            KZ_CC_SetCommandValue(handle, "TriggerSoftware");
            KZ_CC_StopGrabbing(handle);
            KZ_CC_DestroyHandle(handle);
        });
        KZ_CC_SetEnumValue(handle, "TriggerMode", 1);
        std::this_thread::sleep_for(2ms);
        KZ_CC_DestroyHandle(handle);
        rival.join();
        EXPECT_EQ(KZ_CC_DestroyHandle(handle), KZ_CC_E_HANDLE);
    }
    running = false;
    puller.join();
    deliverer.join();
}

// Leaves a grabbing camera behind for the end of the program, which must neither crash nor hang.
class CameraLeftOpen : public testing::Environment {
  public:
    void TearDown() override {
        ASSERT_EQ(KZSim_Configure("usb3 serial=LEFT width=64 height=48 rate=500"), 0U);
        CameraDeviceInfo record{};
        record.transportType = KZ_TRANSPORT_USB3;
        std::strcpy(record.usb3.serialNumber, "LEFT");
        KZHandle handle = nullptr;
        ASSERT_EQ(KZ_CC_CreateHandle(&handle, &record), KZ_CC_OK);
        ASSERT_EQ(KZ_CC_OpenDevice(handle, KZ_ACCESS_CONTROL, 0), KZ_CC_OK);
        ASSERT_EQ(KZ_CC_RegisterImageCallBackEx(
                      handle, [](std::uint8_t*, FrameOutInfo*, void*) {}, nullptr),
                  KZ_CC_OK);
        ASSERT_EQ(KZ_CC_StartGrabbing(handle), KZ_CC_OK);
    }
};
[[maybe_unused]] auto* const cameraLeftOpen =
    testing::AddGlobalTestEnvironment(std::make_unique<CameraLeftOpen>().release());

}  // namespace

// The camera SDK in front of GigE Vision cameras: processes that speak the protocol on the loopback
// network.

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <linux/capability.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "camera/sdk/kz_camera_control.h"
#include "standins/kz_camera_control/aravis/frame_numbers.h"
#include "standins/kz_camera_control/simulated_cameras.h"
#include "tests/support/fake_gige_camera.h"

namespace {

using ::testing::IsSupersetOf;

constexpr std::uint32_t kMono8 = 0x01080001;
constexpr std::uint32_t kMono16 = 0x01100007;
constexpr std::uint32_t kLoopback = 0x7f000001;
// Only reached when something hangs.
constexpr std::chrono::seconds kLongest{30};

// As device records hold them.
std::uint32_t Address(int camera) {
    return ntohl(::inet_addr(CameraAddress(camera).c_str()));
}

// As the enumeration gives it; a camera that is slow to answer may be missed for once.
KZGigEDeviceInfo Listed(const std::string& serial) {
    const auto end = std::chrono::steady_clock::now() + kLongest;
    do {
        KZDeviceList list{};
        EXPECT_EQ(KZ_CC_EnumDevices(KZ_TRANSPORT_GIGE | KZ_TRANSPORT_USB3, &list), KZ_CC_OK);
        for (std::uint32_t index = 0; index < list.count; ++index) {
            const CameraDeviceInfo& record = *list.devices[index];
            if (record.transportType == KZ_TRANSPORT_GIGE && record.gige.serialNumber == serial) {
                return record.gige;
            }
        }
    } while (std::chrono::steady_clock::now() < end);
    ADD_FAILURE() << "not listed";
    return {};
}

CameraDeviceInfo RecordOf(const std::string& serial, std::uint32_t ip, std::uint32_t nic = 0) {
    CameraDeviceInfo record{};
    record.transportType = KZ_TRANSPORT_GIGE;
    record.gige.currentIp = ip;
    record.gige.netExportIp = nic;
    std::strncpy(record.gige.serialNumber, serial.c_str(), sizeof(record.gige.serialNumber) - 1);
    return record;
}

class Handle {
  public:
    explicit Handle(const CameraDeviceInfo& record) {
        EXPECT_EQ(KZ_CC_CreateHandle(&m_handle, &record), KZ_CC_OK);
    }
    ~Handle() { (void)Destroy(); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    [[nodiscard]] std::uint32_t Open() const {
        return KZ_CC_OpenDevice(m_handle, KZ_ACCESS_CONTROL, 0);
    }
    // What a camera says that is there, however slow it is to answer.
    [[nodiscard]] std::uint32_t OpenPatiently() const {
        const auto end = std::chrono::steady_clock::now() + kLongest;
        std::uint32_t code = Open();
        while (code == KZ_CC_E_DEVICE_LOST && std::chrono::steady_clock::now() < end) {
            code = Open();
        }
        return code;
    }
    std::uint32_t Destroy() {
        return m_handle != nullptr ? KZ_CC_DestroyHandle(std::exchange(m_handle, nullptr))
                                   : KZ_CC_OK;
    }
    operator KZHandle() const { return m_handle; }

  private:
    KZHandle m_handle = nullptr;
};

std::uint32_t Open(const CameraDeviceInfo& record) {
    return Handle(record).Open();
}
std::uint32_t OpenPatiently(const CameraDeviceInfo& record) {
    return Handle(record).OpenPatiently();
}

constexpr std::uint32_t kShades = 255;

struct Frame {
    FrameOutInfo info;
    bool whole;
};

// The camera's picture counts up along each line and from line to line, and starts one higher with
// each frame; a gap, or a rest of an earlier picture in a buffer used again, breaks the row.
bool IsWholeRamp(const std::uint8_t* pixels, const FrameOutInfo& info) {
    if (info.frameLength != std::uint32_t{info.width} * info.height) {
        return false;
    }
    for (std::uint32_t y = 0; y < info.height; ++y) {
        for (std::uint32_t x = 0; x < info.width; ++x) {
            if (pixels[y * info.width + x] != (pixels[0] + x + y) % kShades) {
                return false;
            }
        }
    }
    return true;
}

// What callbacks brought: frames, or types of exceptions.
template <typename Item>
class Collected {
  public:
    void Add(const Item& item) {
        const std::lock_guard lock(m_mutex);
        m_items.push_back(item);
        m_changed.notify_all();
    }
    [[nodiscard]] bool Await(std::size_t count, std::chrono::seconds timeout = kLongest) {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, timeout, [&] { return m_items.size() >= count; });
    }
    [[nodiscard]] std::vector<Item> Take() {
        const std::lock_guard lock(m_mutex);
        return std::exchange(m_items, {});
    }

  private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<Item> m_items;
};
using Frames = Collected<Frame>;
using Exceptions = Collected<std::uint32_t>;

void OnFrame(std::uint8_t* data, FrameOutInfo* info, void* user) {
    static_cast<Frames*>(user)->Add({*info, IsWholeRamp(data, *info)});
}
void OnException(std::uint32_t type, void* user) {
    static_cast<Exceptions*>(user)->Add(type);
}

TEST(RealCameras, OpenBySerialNumberOrAddressWithoutAnEnumerationBefore) {
    const FakeGigECamera camera(CameraAddress(3), CameraSerial(3));
    EXPECT_EQ(OpenPatiently(RecordOf(CameraSerial(3), Address(3), kLoopback)), KZ_CC_OK);
    EXPECT_EQ(OpenPatiently(RecordOf(CameraSerial(3), Address(99))), KZ_CC_OK)
        << "moved to another address";
    EXPECT_EQ(OpenPatiently(RecordOf("", Address(3), kLoopback)), KZ_CC_OK);
    EXPECT_EQ(OpenPatiently(RecordOf("", Address(3), 0x0a0b0c0d)), KZ_CC_OK) << "that card is gone";
    EXPECT_EQ(Open(RecordOf("", Address(99), kLoopback)), KZ_CC_E_DEVICE_LOST);
    EXPECT_EQ(Open(RecordOf("OTHER", Address(3))), KZ_CC_E_DEVICE_LOST);
    EXPECT_EQ(Listed(CameraSerial(3)).currentIp, Address(3));
    EXPECT_EQ(Listed(CameraSerial(3)).netExportIp, kLoopback);
}

TEST(RealCameras, HaveOneControllerAtATime) {
    const FakeGigECamera camera(CameraAddress(4), CameraSerial(4));
    const CameraDeviceInfo record = RecordOf(CameraSerial(4), Address(4));
    {
        const Handle owner(record);
        ASSERT_EQ(owner.OpenPatiently(), KZ_CC_OK);
        EXPECT_EQ(OpenPatiently(record), KZ_CC_E_OPEN_REFUSED);
        KZIntValue width{};
        EXPECT_EQ(KZ_CC_GetWidth(owner, &width), KZ_CC_OK) << "the owner is not disturbed";
    }
    EXPECT_EQ(OpenPatiently(record), KZ_CC_OK) << "control was given back";
}

class OpenCamera : public ::testing::Test {
  protected:
    explicit OpenCamera(int lostPackets = 0)
        : m_camera(CameraAddress(5), CameraSerial(5), lostPackets),
          m_handle(RecordOf(CameraSerial(5), Address(5))) {}

    void SetUp() override {
        ASSERT_EQ(m_handle.OpenPatiently(), KZ_CC_OK);
        ASSERT_EQ(KZ_CC_RegisterImageCallBackEx(m_handle, &OnFrame, &m_frames), KZ_CC_OK);
    }
    void TearDown() override { (void)m_handle.Destroy(); }

    FakeGigECamera m_camera;
    Frames m_frames;
    Handle m_handle;
};

TEST_F(OpenCamera, TakesValuesInsideTheRangeOnly) {
    KZIntValue width{};
    ASSERT_EQ(KZ_CC_GetWidth(m_handle, &width), KZ_CC_OK);
    EXPECT_EQ(KZ_CC_SetIntValue(m_handle, "Width", width.maximum + 1), KZ_CC_E_NODE_RANGE);
    EXPECT_EQ(KZ_CC_SetIntValue(m_handle, "Width", width.minimum - 1), KZ_CC_E_NODE_RANGE);
    EXPECT_EQ(KZ_CC_SetIntValue(m_handle, "Width", 320), KZ_CC_OK);
    EXPECT_EQ(KZ_CC_GetWidth(m_handle, &width), KZ_CC_OK);
    EXPECT_EQ(width.current, 320U);
    EXPECT_EQ(KZ_CC_SetIntValue(m_handle, "GevSCPSPacketSize", 1401), KZ_CC_E_NODE_RANGE)
        << "between two increments";
    KZFloatValue exposure{};
    ASSERT_EQ(KZ_CC_GetFloatValue(m_handle, "ExposureTimeAbs", &exposure), KZ_CC_OK);
    EXPECT_EQ(KZ_CC_SetFloatValue(m_handle, "ExposureTimeAbs", exposure.minimum / 2),
              KZ_CC_E_NODE_RANGE);
    EXPECT_EQ(KZ_CC_SetFloatValue(m_handle, "ExposureTimeAbs", exposure.maximum), KZ_CC_OK);
    EXPECT_EQ(KZ_CC_SetEnumValue(m_handle, "PixelFormat", 7), KZ_CC_E_NODE_RANGE);
    EXPECT_EQ(KZ_CC_SetEnumValueByString(m_handle, "PixelFormat", "Mono7"), KZ_CC_E_NODE_RANGE);
    EXPECT_EQ(KZ_CC_SetEnumValueByString(m_handle, "PixelFormat", "Mono16"), KZ_CC_OK);
    KZEnumValue format{};
    EXPECT_EQ(KZ_CC_GetEnumValue(m_handle, "PixelFormat", &format), KZ_CC_OK);
    EXPECT_EQ(format.current, kMono16);
    EXPECT_THAT(std::vector(format.supported, format.supported + format.supportedCount),
                IsSupersetOf({kMono8, kMono16}));

    EXPECT_EQ(KZ_CC_SetBoolValue(m_handle, "TestBoolean", true), KZ_CC_OK);
    bool value = false;
    EXPECT_EQ(KZ_CC_GetBoolValue(m_handle, "TestBoolean", &value), KZ_CC_OK);
    EXPECT_TRUE(value);
}

TEST_F(OpenCamera, TellsTheTypesOfItsFeaturesAndRefusesWhatDoesNotSuitThem) {
    for (const auto& [name, expected] : {std::pair{"PayloadSize", KZ_NODE_INTEGER},
                                         {"TestBoolean", KZ_NODE_BOOLEAN},
                                         {"TriggerSoftware", KZ_NODE_COMMAND},
                                         {"ExposureTimeAbs", KZ_NODE_FLOAT},
                                         {"DeviceModelName", KZ_NODE_STRING},
                                         {"Root", KZ_NODE_CATEGORY},
                                         {"PixelFormat", KZ_NODE_ENUMERATION}}) {
        KZNodeType type{};
        EXPECT_EQ(KZ_XML_GetNodeInterfaceType(m_handle, name, &type), KZ_CC_OK) << name;
        EXPECT_EQ(type, expected) << name;
    }
    EXPECT_EQ(KZ_CC_SetIntValue(m_handle, "PayloadSize", 1), KZ_CC_E_NODE_ACCESS);
    EXPECT_EQ(KZ_CC_SetBoolValue(m_handle, "TriggerMode", true), KZ_CC_E_NODE_TYPE);
    EXPECT_EQ(KZ_CC_SetIntValue(m_handle, "TriggerMode", 1), KZ_CC_E_NODE_TYPE);
    EXPECT_EQ(KZ_CC_SetCommandValue(m_handle, "UserSetLoad"), KZ_CC_E_NODE_MISSING);
    EXPECT_EQ(KZ_CC_SetEnumValue(m_handle, "LineMode", 8), KZ_CC_E_NODE_MISSING);
    KZStringValue model{};
    EXPECT_EQ(KZ_CC_GetStringValue(m_handle, "DeviceModelName", &model), KZ_CC_OK);
    EXPECT_STREQ(model.current, "Fake");
    const KZTransmissionType multicast{KZ_TRANSMISSION_UNICAST_AND_MULTICAST, 0xefc00101, 1042, {}};
    EXPECT_EQ(KZ_GIGE_SetTransmissionType(m_handle, &multicast), KZ_CC_E_NOT_SUPPORTED);
    const KZTransmissionType unicast{KZ_TRANSMISSION_UNICAST, 0, 0, {}};
    EXPECT_EQ(KZ_GIGE_SetTransmissionType(m_handle, &unicast), KZ_CC_OK);
    EXPECT_GT(KZ_CC_GetOptimalPacketSize(m_handle), 0);
}

class TriggeredCamera : public OpenCamera {
  protected:
    void SetUp() override {
        OpenCamera::SetUp();
        ASSERT_EQ(KZ_CC_SetEnumValueByString(m_handle, "TriggerMode", "On"), KZ_CC_OK);
        ASSERT_EQ(KZ_CC_SetEnumValueByString(m_handle, "TriggerSource", "Software"), KZ_CC_OK);
        ASSERT_EQ(KZ_CC_StartGrabbing(m_handle), KZ_CC_OK);
    }

    // A busy machine may lose a packet, and with it the frame: then it is asked for again.
    [[nodiscard]] bool FrameComes() {
        constexpr int kAttempts = 5;
        constexpr std::chrono::seconds kPatience{3};
        for (int attempt = 0; attempt < kAttempts; ++attempt) {
            EXPECT_EQ(KZ_CC_SetCommandValue(m_handle, "TriggerSoftware"), KZ_CC_OK);
            if (m_frames.Await(1, kPatience)) {
                return true;
            }
        }
        return false;
    }
};

// The smallest frame there is consists of one packet with pixels.
TEST_F(TriggeredCamera, SendsAFrameOfASinglePacket) {
    ASSERT_EQ(KZ_CC_StopGrabbing(m_handle), KZ_CC_OK);
    ASSERT_EQ(KZ_CC_SetIntValue(m_handle, "Width", 64), KZ_CC_OK);
    ASSERT_EQ(KZ_CC_SetIntValue(m_handle, "Height", 64), KZ_CC_OK);
    ASSERT_EQ(KZ_CC_SetIntValue(m_handle, "GevSCPSPacketSize", 9000), KZ_CC_OK);
    ASSERT_EQ(KZ_CC_StartGrabbing(m_handle), KZ_CC_OK);
    EXPECT_TRUE(FrameComes());
}

void GiveUpPacketSockets() {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct sets[_LINUX_CAPABILITY_U32S_3]{};
    ::syscall(SYS_capget, &header, sets);
    sets[0].effective &= ~(1U << CAP_NET_RAW);
    ::syscall(SYS_capset, &header, sets);
}

// In a process of its own, where nobody has looked for packet sockets before.
TEST_F(OpenCamera, StreamsWithoutTheRightToAPacketSocketAndSaysSo) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            GiveUpPacketSockets();
            const bool started = KZ_CC_StartGrabbing(m_handle) == KZ_CC_OK;
            std::_Exit(started && m_frames.Await(3) && m_frames.Take()[0].whole ? 0 : 1);
        },
        testing::ExitedWithCode(0), "CAP_NET_RAW");
}

// No thread can be had while this lives: a stack that large has no room.
class NoThreads {
  public:
    NoThreads() {
        pthread_getattr_default_np(&m_before);
        pthread_attr_t attributes{};
        pthread_getattr_default_np(&attributes);
        pthread_attr_setstacksize(&attributes, std::size_t{1} << 46);
        pthread_setattr_default_np(&attributes);
        pthread_attr_destroy(&attributes);
    }
    ~NoThreads() {
        pthread_setattr_default_np(&m_before);
        pthread_attr_destroy(&m_before);
    }
    NoThreads(const NoThreads&) = delete;
    NoThreads& operator=(const NoThreads&) = delete;

  private:
    pthread_attr_t m_before{};
};

TEST_F(OpenCamera, AnswersWithACodeWhereNoThreadCanBeStarted) {
    const FakeGigECamera otherCamera(CameraAddress(6), CameraSerial(6));
    ASSERT_EQ(KZSim_Configure("usb3 serial=S1"), 0U);
    CameraDeviceInfo simulated{};
    simulated.transportType = KZ_TRANSPORT_USB3;
    std::strcpy(simulated.usb3.serialNumber, "S1");
    for (const CameraDeviceInfo& record : {RecordOf(CameraSerial(6), Address(6)), simulated}) {
        const Handle handle(record);
        {
            const NoThreads none;
            EXPECT_EQ(handle.Open(), KZ_CC_E_RESOURCE);
        }
        ASSERT_EQ(handle.OpenPatiently(), KZ_CC_OK);
        {
            const NoThreads none;
            EXPECT_EQ(KZ_CC_StartGrabbing(handle), KZ_CC_E_RESOURCE);
        }
        EXPECT_EQ(KZ_CC_StartGrabbing(handle), KZ_CC_OK);
    }
    EXPECT_EQ(KZSim_Configure(""), 0U);
}

// Whose packets fill the line while this one's stream is made, with numbers a little ahead of its
// own: taken for this one's, they would make every frame of it a late one.
TEST_F(TriggeredCamera, HearsNothingOfAnotherThatStreams) {
    const FakeGigECamera otherCamera(CameraAddress(6), CameraSerial(6));
    Frames otherFrames;  // outlives the handle that calls it
    const Handle other(RecordOf(CameraSerial(6), Address(6)));
    ASSERT_EQ(other.OpenPatiently(), KZ_CC_OK);
    ASSERT_EQ(KZ_CC_RegisterImageCallBackEx(other, &OnFrame, &otherFrames), KZ_CC_OK);
    ASSERT_EQ(KZ_CC_SetIntValue(other, "Width", 1024), KZ_CC_OK);
    ASSERT_EQ(KZ_CC_SetIntValue(other, "Height", 1024), KZ_CC_OK);
    ASSERT_EQ(KZ_CC_SetIntValue(other, "GevSCPSPacketSize", 576), KZ_CC_OK);
    ASSERT_EQ(KZ_CC_StartGrabbing(other), KZ_CC_OK);
    ASSERT_TRUE(otherFrames.Await(10));
    for (int start = 0; start < 8; ++start) {
        ASSERT_EQ(KZ_CC_StopGrabbing(m_handle), KZ_CC_OK);
        ASSERT_EQ(KZ_CC_StartGrabbing(m_handle), KZ_CC_OK);
        ASSERT_TRUE(FrameComes()) << start;
        (void)m_frames.Take();
    }
}

TEST(FrameNumbers, TellHowManyFramesWentBy) {
    struct Case {
        const char* name;
        std::vector<std::uint64_t> numbers;
        std::int64_t missing;
    };
    for (const Case& each : std::initializer_list<Case>{
             {"the first one seen", {65401}, 0},
             {"one after the other", {1, 2, 3}, 0},
             {"gaps", {5, 9, 10, 12}, 4},
             {"the wrap passes over 0", {65534, 65535, 1, 2}, 0},
             {"a gap at the wrap", {65534, 3}, 3},
             {"late: no longer missing", {5, 8, 6, 9}, 1},
             {"all of a gap late", {5, 8, 7, 6, 9}, 0},
             {"late over the wrap", {65533, 1, 65534, 2, 65535}, 0},
             {"double", {5, 6, 6, 7}, 0},
             {"a late one that is double", {5, 8, 6, 6, 9}, 1},
             {"late before the first one seen", {5, 4, 6}, 0},
             {"too late for the gap to be known", {5, 300, 190, 191}, 294},
             {"counted anew", {1'000'000, 1, 2, 4}, 1},
             {"counted anew with 16 bits", {40'000, 1, 3}, 1},
             {"a long gap with 16 bits", {5, 60'000}, 59'994},
             {"counted anew soon", {60, 1, 2, 62}, 1},
             {"64-bit numbers do not wrap", {65535, 65536, 65538}, 1},
             {"late among 64-bit numbers", {65534, 65537, 65535, 65538}, 1},
             {"a gap among 64-bit numbers", {70'000, 170'000}, 99'999},
             {"64-bit numbers at their end", {UINT64_MAX - 1, UINT64_MAX}, 0},
         }) {
        kz::FrameNumbers numbers;
        std::int64_t missing = 0;
        for (const std::uint64_t number : each.numbers) {
            missing += kz::CountUnseen(numbers, number);
        }
        EXPECT_EQ(missing, each.missing) << each.name;
    }
}

class CameraOnABadLine : public OpenCamera {
  protected:
    CameraOnABadLine() : OpenCamera(5) {}
};

TEST_F(CameraOnABadLine, ShowsWholeFramesOnlyAndCountsThem) {
    ASSERT_EQ(KZ_CC_StartGrabbing(m_handle), KZ_CC_OK);
    ASSERT_TRUE(m_frames.Await(20));
    ASSERT_EQ(KZ_CC_StopGrabbing(m_handle), KZ_CC_OK);
    const std::vector<Frame> frames = m_frames.Take();
    for (const Frame& frame : frames) {
        EXPECT_TRUE(frame.whole) << frame.info.frameNumber;
        EXPECT_NE(frame.info.hostTimestamp, 0);
    }
    KZGigEMatchInfo counts{};
    KZMatchInfo request{KZ_MATCH_INFO_GIGE, sizeof counts, &counts};
    EXPECT_EQ(KZ_CC_GetAllMatchInfo(m_handle, &request), KZ_CC_OK);
    EXPECT_GE(counts.receivedFrames, frames.size());
    EXPECT_GE(counts.receivedBytes, frames.size() * frames[0].info.frameLength);
    EXPECT_GT(counts.lostFrames, 0U);
    EXPECT_GT(counts.lostPackets, 0);
}

TEST_F(OpenCamera, TellsOnceThatItIsLostAndAnswersSoFromThenOn) {
    Exceptions exceptions;
    ASSERT_EQ(KZ_CC_RegisterExceptionCallBack(m_handle, &OnException, &exceptions), KZ_CC_OK);
    ASSERT_EQ(KZ_CC_StartGrabbing(m_handle), KZ_CC_OK);
    ASSERT_TRUE(m_frames.Await(1));
    m_camera.Kill();
    ASSERT_TRUE(exceptions.Await(1));
    KZIntValue width{};
    EXPECT_EQ(KZ_CC_GetWidth(m_handle, &width), KZ_CC_E_DEVICE_LOST);
    EXPECT_EQ(KZ_CC_SetCommandValue(m_handle, "TriggerSoftware"), KZ_CC_E_DEVICE_LOST);
    EXPECT_EQ(KZ_CC_StopGrabbing(m_handle), KZ_CC_E_DEVICE_LOST);
    // The same camera again is not this one: it is not ours any more.
    m_camera.Start();
    EXPECT_EQ(KZ_CC_GetWidth(m_handle, &width), KZ_CC_E_DEVICE_LOST);
    EXPECT_EQ(m_handle.Destroy(), KZ_CC_OK);
    EXPECT_EQ(exceptions.Take(), std::vector<std::uint32_t>{KZ_EXCEPTION_DISCONNECTED});
}

TEST_F(OpenCamera, IsLostWhenItRestartsBetweenTwoLooks) {
    Exceptions exceptions;
    ASSERT_EQ(KZ_CC_RegisterExceptionCallBack(m_handle, &OnException, &exceptions), KZ_CC_OK);
    m_camera.Kill();
    m_camera.Start();
    EXPECT_TRUE(exceptions.Await(1)) << "it answers, but it is nobody's";
}

TEST_F(OpenCamera, CanBeClosedWhileNobodyKnowsYetThatItIsGone) {
    ASSERT_EQ(KZ_CC_StartGrabbing(m_handle), KZ_CC_OK);
    ASSERT_TRUE(m_frames.Await(1));
    m_camera.Kill();
    EXPECT_EQ(KZ_CC_StopGrabbing(m_handle), KZ_CC_E_DEVICE_LOST);
    EXPECT_EQ(m_handle.Destroy(), KZ_CC_OK);
}

}  // namespace

// What receiving from a GigE Vision camera costs through the SDK stand-in and through Aravis alone,
// with its defaults: printed, never asserted. Both in turns in one run, so that the machine's moods
// hit both; the camera is a process of its own on the loopback network.
//
// gige_bench [ROUNDS [STARTS]]: rounds of two seconds for either and every setting, and starts of a
// camera, half of them beside one that streams.
#include <arpa/inet.h>
#include <arv.h>
#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "bench/figures.h"
#include "camera/sdk/kz_camera_control.h"
#include "tests/support/fake_gige_camera.h"

namespace {

using bench::Clock;
using bench::Median;
using Seconds = std::chrono::duration<double>;

struct Setting {
    std::uint32_t size = 512;  // pixels, both ways
    std::uint32_t packetSize = 1500;
    std::uint32_t period = 40'000;  // microseconds from frame to frame
    bool triggered = false;
};

void Check(bool done, const char* what) {
    if (!done) {
        throw std::runtime_error(what);
    }
}

double CpuSeconds() {
    rusage usage{};
    (void)::getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// Whole frames as they come, on the receiver's thread.
class Counter {
  public:
    void Add(std::uint32_t width, std::uint64_t number) {
        const std::lock_guard lock(m_mutex);
        const Moment now{Clock::now(), CpuSeconds(), number};
        if (m_frames++ == 0) {
            m_first = now;
        }
        m_last = now;
        m_foreign += width != m_width ? 1 : 0;
        m_changed.notify_all();
    }
    // Forgets all there was; frames of another width are foreign from now on.
    void Expect(std::uint32_t width) {
        const std::lock_guard lock(m_mutex);
        m_width = width;
        m_frames = 0;
        m_foreign = 0;
    }
    [[nodiscard]] bool Await(std::uint64_t frames, Seconds patience) {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, patience, [&] { return m_frames >= frames; });
    }
    [[nodiscard]] std::uint64_t Foreign() const {
        const std::lock_guard lock(m_mutex);
        return m_foreign;
    }
    // All from the first frame to the last one.
    [[nodiscard]] double Rate() const {
        const std::lock_guard lock(m_mutex);
        return m_frames < 2 ? 0 : Intervals() / Seconds(m_last.time - m_first.time).count();
    }
    [[nodiscard]] std::uint64_t Lost() const {
        constexpr std::uint64_t kNumbers = 65535;
        const std::lock_guard lock(m_mutex);
        return m_frames < 2 ? 0
                            : (m_last.number + kNumbers - m_first.number) % kNumbers + 1 - m_frames;
    }
    [[nodiscard]] double CpuMicrosecondsPerFrame() const {
        const std::lock_guard lock(m_mutex);
        return m_frames < 2 ? 0 : 1e6 * (m_last.cpu - m_first.cpu) / Intervals();
    }

  private:
    struct Moment {
        Clock::time_point time;
        double cpu = 0;
        std::uint64_t number = 0;
    };
    [[nodiscard]] double Intervals() const { return static_cast<double>(m_frames - 1); }

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::uint32_t m_width = 0;
    std::uint64_t m_frames = 0;
    std::uint64_t m_foreign = 0;
    Moment m_first;
    Moment m_last;
};

// A camera as its user has it open.
class Receiver {
  public:
    virtual ~Receiver() = default;
    void Set(const Setting& setting) {
        SetInt("Width", setting.size);
        SetInt("Height", setting.size);
        SetInt("GevSCPSPacketSize", setting.packetSize);
        SetInt("AcquisitionFramePeriod", setting.period);
        if (setting.triggered) {
            SetEntry("TriggerMode", "On");
            SetEntry("TriggerSource", "Software");
        }
        frames.Expect(setting.size);
    }
    virtual void Start() = 0;
    virtual void Trigger() = 0;
    virtual void Stop() = 0;

    Counter frames;

  protected:
    virtual void SetInt(const char* name, std::uint32_t value) = 0;
    virtual void SetEntry(const char* name, const char* entry) = 0;
};

class StandIn final : public Receiver {
  public:
    explicit StandIn(const FakeGigECamera& camera) {
        CameraDeviceInfo record{};
        record.transportType = KZ_TRANSPORT_GIGE;
        record.gige.currentIp = ntohl(::inet_addr(camera.Address().c_str()));
        Check(KZ_CC_CreateHandle(&m_handle, &record) == KZ_CC_OK, "no handle");
        Check(KZ_CC_OpenDevice(m_handle, KZ_ACCESS_CONTROL, 0) == KZ_CC_OK, "not opened");
        const auto onFrame = [](std::uint8_t*, FrameOutInfo* info, void* user) {
            static_cast<Counter*>(user)->Add(info->width, info->frameNumber);
        };
        Check(KZ_CC_RegisterImageCallBackEx(m_handle, onFrame, &frames) == KZ_CC_OK, "no callback");
    }
    ~StandIn() override { (void)KZ_CC_DestroyHandle(m_handle); }

    void Start() override { Check(KZ_CC_StartGrabbing(m_handle) == KZ_CC_OK, "not started"); }
    void Trigger() override {
        Check(KZ_CC_SetCommandValue(m_handle, "TriggerSoftware") == KZ_CC_OK, "not triggered");
    }
    void Stop() override { Check(KZ_CC_StopGrabbing(m_handle) == KZ_CC_OK, "not stopped"); }

  private:
    void SetInt(const char* name, std::uint32_t value) override {
        Check(KZ_CC_SetIntValue(m_handle, name, value) == KZ_CC_OK, name);
    }
    void SetEntry(const char* name, const char* entry) override {
        Check(KZ_CC_SetEnumValueByString(m_handle, name, entry) == KZ_CC_OK, name);
    }

    KZHandle m_handle = nullptr;
};

class AravisAlone final : public Receiver {
  public:
    explicit AravisAlone(const FakeGigECamera& camera) {
        const Object<GInetAddress> loopback(g_inet_address_new_from_string("127.0.0.1"));
        const Object<GInetAddress> address(
            g_inet_address_new_from_string(camera.Address().c_str()));
        m_device.reset(arv_gv_device_new(loopback.get(), address.get(), nullptr));
        Check(m_device != nullptr, "not opened");
        // The packet size is the setting's.
        arv_gv_device_set_packet_size_adjustment(ARV_GV_DEVICE(m_device.get()),
                                                 ARV_GV_PACKET_SIZE_ADJUSTMENT_NEVER);
    }
    ~AravisAlone() override { EndThread(); }

    void Start() override {
        const gint64 payload =
            arv_device_get_integer_feature_value(m_device.get(), "PayloadSize", nullptr);
        m_stream.reset(arv_device_create_stream(m_device.get(), nullptr, nullptr, nullptr));
        Check(m_stream != nullptr && payload > 0, "not started");
        constexpr int kBuffers = 16;
        for (int count = 0; count < kBuffers; ++count) {
            arv_stream_push_buffer(m_stream.get(),
                                   arv_buffer_new_allocate(static_cast<std::size_t>(payload)));
        }
        m_thread = std::thread([this] { Run(); });
        Execute("AcquisitionStart");
    }
    void Trigger() override { Execute("TriggerSoftware"); }
    void Stop() override {
        EndThread();
        Execute("AcquisitionStop");
        m_stream.reset();
    }

  private:
    struct Unref {
        void operator()(gpointer object) const { g_object_unref(object); }
    };
    template <typename T>
    using Object = std::unique_ptr<T, Unref>;

    void Run() {
        constexpr guint64 kWaitMicroseconds = 50'000;
        while (!m_stop) {
            ArvBuffer* const buffer =
                arv_stream_timeout_pop_buffer(m_stream.get(), kWaitMicroseconds);
            if (buffer == nullptr) {
                continue;
            }
            if (arv_buffer_get_status(buffer) == ARV_BUFFER_STATUS_SUCCESS) {
                frames.Add(static_cast<std::uint32_t>(arv_buffer_get_image_width(buffer)),
                           arv_buffer_get_frame_id(buffer));
            }
            arv_stream_push_buffer(m_stream.get(), buffer);
        }
    }
    void EndThread() {
        m_stop = true;
        if (m_thread.joinable()) {
            m_thread.join();
        }
        m_stop = false;
    }
    void SetInt(const char* name, std::uint32_t value) override {
        GError* error = nullptr;
        arv_device_set_integer_feature_value(m_device.get(), name, value, &error);
        Check(error == nullptr, name);
    }
    void SetEntry(const char* name, const char* entry) override {
        GError* error = nullptr;
        arv_device_set_string_feature_value(m_device.get(), name, entry, &error);
        Check(error == nullptr, name);
    }
    void Execute(const char* name) {
        GError* error = nullptr;
        arv_device_execute_command(m_device.get(), name, &error);
        Check(error == nullptr, name);
    }

    Object<ArvDevice> m_device;
    Object<ArvStream> m_stream;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

struct Contestant {
    std::function<std::unique_ptr<Receiver>(const FakeGigECamera&)> open;
    std::vector<double> rates = {};
    std::vector<double> cpus = {};
    std::vector<double> lost = {};
    int firstFramesLost = 0;
    std::uint64_t foreignFrames = 0;
    std::vector<double> startTimes = {};
};

struct Match {
    Contestant standIn{[](const auto& camera) { return std::make_unique<StandIn>(camera); }};
    Contestant aravis{[](const auto& camera) { return std::make_unique<AravisAlone>(camera); }};

    [[nodiscard]] std::array<Contestant*, 2> Round(int round) {
        return round % 2 == 0 ? std::array{&standIn, &aravis} : std::array{&aravis, &standIn};
    }
};

// In microseconds, of memory that no cache holds, as a frame's is when it has come.
double CopyTime(std::size_t size) {
    constexpr int kCopies = 15;
    std::vector<std::vector<std::uint8_t>> from(kCopies, std::vector<std::uint8_t>(size, 1));
    std::vector<std::uint8_t> to(size, 1);
    std::vector<double> times;
    for (const auto& each : from) {
        const Clock::time_point start = Clock::now();
        std::memcpy(to.data(), each.data(), size);
        times.push_back(1e6 * Seconds(Clock::now() - start).count());
    }
    return Median(times);
}

void MeasureRate(const Setting& setting, int rounds) {
    constexpr std::uint64_t kUneven = 2;
    constexpr Seconds kPatience{5};
    const FakeGigECamera camera(CameraAddress(1), CameraSerial(1), 0,
                                static_cast<int>(setting.size));
    Match match;
    for (int round = 0; round < rounds; ++round) {
        for (Contestant* const each : match.Round(round)) {
            const auto receiver = each->open(camera);
            receiver->Set(setting);
            receiver->Start();
            // The camera spaces its first frames unevenly.
            Check(receiver->frames.Await(kUneven, kPatience), "no frames");
            receiver->frames.Expect(setting.size);
            std::this_thread::sleep_for(std::chrono::seconds(2));
            each->rates.push_back(receiver->frames.Rate());
            each->cpus.push_back(receiver->frames.CpuMicrosecondsPerFrame());
            each->lost.push_back(static_cast<double>(receiver->frames.Lost()));
            receiver->Stop();
        }
    }
    const auto print = [&](const char* what, const char* unit, const std::vector<double>& theirs,
                           const std::vector<double>& ours, const char* relation, double goal) {
        const std::string name = std::string("gige_") + what;
        const std::string tail =
            '_' + std::to_string(setting.size) + '_' + std::to_string(setting.packetSize);
        char goalText[32];
        std::snprintf(goalText, sizeof goalText, "%s%.2f", relation, goal);
        bench::Print((name + "_aravis" + tail).c_str(), theirs, unit);
        bench::Print((name + tail).c_str(), ours, unit, goalText);
    };
    const Contestant& theirs = match.aravis;
    const Contestant& ours = match.standIn;
    print("rate", "fps", theirs.rates, ours.rates, ">=", 0.98 * Median(theirs.rates));
    print("cpu", "us/frame", theirs.cpus, ours.cpus,
          "<=", Median(theirs.cpus) + CopyTime(std::size_t{setting.size} * setting.size));
    print("lost", "frames", theirs.lost, ours.lost, "<=", 0);
}

void PrintStarts(const char* suffix, const Contestant& contestant, int starts, const char* goal) {
    std::printf("gige_first_frames_lost%s: %d of_%d_starts %s\n", suffix,
                contestant.firstFramesLost, starts, goal);
    std::printf("gige_foreign_frames%s: %llu frames %s\n", suffix,
                static_cast<unsigned long long>(contestant.foreignFrames), goal);
    std::printf("gige_start%s: %.0f ms -\n", suffix, Median(contestant.startTimes) * 1e3);
}

void MeasureStarts(int starts) {
    // Its frames would fit the other's buffers, and its numbers begin with the same ones.
    constexpr Setting kOther{.size = 500, .packetSize = 576, .period = 5'000};
    constexpr Setting kOurs{.triggered = true};
    constexpr int kStartsPerCamera = 10;
    constexpr Seconds kPatience{1};
    Match match;
    for (int start = 0; start < starts; start += kStartsPerCamera) {
        for (Contestant* const each : match.Round(start / kStartsPerCamera)) {
            const FakeGigECamera camera(CameraAddress(1), CameraSerial(1));
            const FakeGigECamera otherCamera(CameraAddress(2), CameraSerial(2));
            const auto other = each->open(otherCamera);
            other->Set(kOther);
            const auto receiver = each->open(camera);
            for (int index = 0; index < kStartsPerCamera; ++index) {
                if (index == kStartsPerCamera / 2) {
                    other->Start();
                    (void)other->frames.Await(2, kPatience);
                }
                receiver->Set(kOurs);
                const Clock::time_point begin = Clock::now();
                receiver->Start();
                each->startTimes.push_back(Seconds(Clock::now() - begin).count());
                receiver->Trigger();
                each->firstFramesLost += receiver->frames.Await(1, kPatience) ? 0 : 1;
                receiver->Stop();
                each->foreignFrames += receiver->frames.Foreign();
            }
            other->Stop();
        }
    }
    PrintStarts("", match.standIn, starts, "<=0");
    PrintStarts("_aravis", match.aravis, starts, "-");
}

}  // namespace

int main(int count, char** arguments) {
    const int rounds = count > 1 ? std::atoi(arguments[1]) : bench::kBlocks;
    const int starts = count > 2 ? std::atoi(arguments[2]) : 200;
    try {
        if (starts > 0) {
            MeasureStarts(starts);
        }
        for (const std::uint32_t packetSize : {1500U, 9000U}) {
            for (const auto& [size, period] : {std::pair{512U, 10'000U}, std::pair{2048U, 50'000U},
                                               std::pair{4096U, 200'000U}}) {
                // Rates that the camera keeps up with, so that a lower one tells of lost frames.
                if (rounds > 0) {
                    MeasureRate({size, packetSize, period, false}, rounds);
                }
            }
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "gige_bench: %s\n", error.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}

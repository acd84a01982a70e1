// What the module costs a frame: printed, never asserted. Medians of one run, the compared things
// measured in turns so that the machine's moods hit both.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "bench/bare_sdk.h"
#include "camera/sdk/pixel_format.h"
#include "imaging/buffer_node.h"
#include "module/exports.h"
#include "module/framework/module_frame.h"
#include "module/framework/status_codes.h"
#include "module/log/xalog.h"
#include "standins/module_frame/module_frame_host.h"
#include "standins/xalog/xalog_host.h"

namespace {

std::atomic<std::uint64_t> allocations{0};

}  // namespace

void* operator new(std::size_t size) {
    ++allocations;
    if (void* const block = std::malloc(size)) {
        return block;
    }
    throw std::bad_alloc();
}
void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}

namespace {

using Clock = std::chrono::steady_clock;
using Nanoseconds = std::chrono::duration<double, std::nano>;

constexpr int kLogOff = 100;

double Median(std::vector<double>& samples) {
    const auto middle = samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / 2);
    std::nth_element(samples.begin(), middle, samples.end());
    return *middle;
}

template <typename Work>
double Time(Work&& work) {
    const Clock::time_point start = Clock::now();
    work();
    return Nanoseconds(Clock::now() - start).count();
}

class Bench {
  public:
    Bench() : m_handle(ModuleFrame_CreateHandle(1, 0)), m_module(CreateModule(m_handle)) {
        Set("TriggerProcessRunStatus", "False");
        Set("AddRelateProc", "1");
        ModuleFrame_RunNotifyEvent(m_handle, kNotifyRelationsChanged, nullptr);
        Set("CameraName", bare_sdk::Serial());
    }
    ~Bench() {
        DestroyModule(m_handle, m_module);
        ModuleFrame_DestroyHandle(m_handle);
    }
    Bench(const Bench&) = delete;
    Bench& operator=(const Bench&) = delete;

    void Set(const char* key, const char* value) {
        m_module->SetParam(key, value, static_cast<std::int32_t>(std::strlen(value)));
    }

    void UseFrame(std::uint16_t width, std::uint16_t height) {
        m_pixels.assign(std::size_t{width} * height, 0x5A);
        m_info = {};
        m_info.width = width;
        m_info.height = height;
        m_info.pixelType = pixel_format::kMono8;
        m_info.frameLength = static_cast<std::uint32_t>(m_pixels.size());
    }

    void Deliver() {
        const bare_sdk::Callback callback = bare_sdk::ImageCallback();
        ++m_info.frameNumber;
        callback.function(m_pixels.data(), &m_info, callback.user);
    }

    cam::BufferNode Take() {
        cam::BufferNode node;
        std::uint32_t length = 0;
        if (m_module->GetParam("CameraImage", reinterpret_cast<char*>(&node), sizeof node,
                               &length) != cam::kOk) {
            std::fprintf(stderr, "frame_path_bench: no image\n");
            std::exit(1);
        }
        return node;
    }
    void Free(const cam::BufferNode& node) {
        m_module->SetParam("FreeBuf", reinterpret_cast<const char*>(&node), sizeof node);
    }
    void Copy(const cam::BufferNode& node) {
        std::memcpy(node.data, m_pixels.data(), m_pixels.size());
    }

  private:
    void* m_handle;
    CAbstractUserModule* m_module;
    std::vector<std::uint8_t> m_pixels;
    FrameOutInfo m_info{};
};

void MeasureIntake(Bench& bench) {
    constexpr int kRounds = 400;
    bench.UseFrame(2560, 2048);
    std::vector<double> copies;
    std::vector<double> intakes;
    for (int round = 0; round < kRounds; ++round) {
        intakes.push_back(Time([&] { bench.Deliver(); }));
        const cam::BufferNode node = bench.Take();
        copies.push_back(Time([&] { bench.Copy(node); }));
        bench.Free(node);
    }
    const double copy = Median(copies);
    const double intake = Median(intakes);
    std::printf("intake of a 2560x2048 Mono8 frame    %10.1f us\n", intake / 1000);
    std::printf("memcpy into the same buffer          %10.1f us\n", copy / 1000);
    std::printf("ratio                                %10.3f\n", intake / copy);
}

void MeasureCycle(Bench& bench) {
    constexpr int kRounds = 2000;
    constexpr int kCyclesARound = 50;  // one is too short for the clock
    bench.UseFrame(64, 64);
    std::vector<double> copies;
    std::vector<double> cycles;
    copies.reserve(kRounds);
    cycles.reserve(kRounds);
    bench.Deliver();
    const cam::BufferNode target = bench.Take();
    bench.Deliver();  // the second node, which the cycles use
    bench.Free(bench.Take());
    const std::uint64_t before = allocations;
    for (int round = 0; round < kRounds; ++round) {
        cycles.push_back(Time([&] {
            for (int i = 0; i < kCyclesARound; ++i) {
                bench.Deliver();
                bench.Free(bench.Take());
            }
        }));
        copies.push_back(Time([&] {
            for (int i = 0; i < kCyclesARound; ++i) {
                bench.Copy(target);
            }
        }));
    }
    const std::uint64_t allocated = allocations - before;
    bench.Free(target);
    std::printf("cycle above its copy                 %10.1f ns\n",
                (Median(cycles) - Median(copies)) / kCyclesARound);
    std::printf("allocations in %d cycles         %10llu\n", kRounds * kCyclesARound,
                static_cast<unsigned long long>(allocated));
}

// A thread that does `work` each time it is asked to, and notes when it began.
class Signaller {
  public:
    explicit Signaller(std::function<void()> work)
        : m_work(std::move(work)), m_thread([this] { Run(); }) {}
    ~Signaller() {
        {
            const std::lock_guard hold(m_lock);
            m_stop = true;
        }
        m_asked.notify_one();
        m_thread.join();
    }
    Signaller(const Signaller&) = delete;
    Signaller& operator=(const Signaller&) = delete;

    void Ask() {
        {
            const std::lock_guard hold(m_lock);
            m_pending = true;
        }
        m_asked.notify_one();
    }
    [[nodiscard]] Clock::time_point Began() const { return m_began.load(); }
    // How long the last work took, once it is done.
    [[nodiscard]] double WaitForWork() {
        std::unique_lock hold(m_lock);
        m_done.wait(hold, [this] { return !m_pending && !m_working; });
        return m_took;
    }

  private:
    void Run() {
        std::unique_lock hold(m_lock);
        for (;;) {
            m_asked.wait(hold, [this] { return m_pending || m_stop; });
            if (m_stop) {
                return;
            }
            m_pending = false;
            m_working = true;
            hold.unlock();
            // The one who asked is asleep by then.
            std::this_thread::sleep_for(std::chrono::microseconds(200));
            m_began = Clock::now();
            m_work();
            const double took = Nanoseconds(Clock::now() - m_began.load()).count();
            hold.lock();
            m_took = took;
            m_working = false;
            m_done.notify_one();
        }
    }

    std::function<void()> m_work;
    std::mutex m_lock;
    std::condition_variable m_asked;
    std::condition_variable m_done;
    bool m_pending = false;
    bool m_working = false;
    double m_took = 0;
    bool m_stop = false;
    std::atomic<Clock::time_point> m_began{};
    std::thread m_thread;
};

void MeasureWakeUp(Bench& bench) {
    constexpr int kRounds = 3000;
    bench.UseFrame(64, 64);

    std::mutex lock;
    std::condition_variable arrived;
    bool there = false;
    Signaller bare([&] {
        {
            const std::lock_guard hold(lock);
            there = true;
        }
        arrived.notify_one();
    });
    Signaller camera([&] { bench.Deliver(); });
    bare_sdk::OnSoftwareTrigger([&] { camera.Ask(); });

    std::vector<double> bares;
    std::vector<double> images;
    std::vector<double> intakes;  // by a thread that slept, like the one that wakes the host
    for (int round = 0; round < kRounds; ++round) {
        {
            std::unique_lock hold(lock);
            there = false;
            bare.Ask();
            arrived.wait(hold, [&] { return there; });
            bares.push_back(Nanoseconds(Clock::now() - bare.Began()).count());
        }
        const cam::BufferNode node = bench.Take();
        images.push_back(Nanoseconds(Clock::now() - camera.Began()).count());
        static_cast<void>(camera.WaitForWork());
        bench.Free(node);
        camera.Ask();
        intakes.push_back(camera.WaitForWork());
        bench.Free(bench.Take());
    }
    bare_sdk::OnSoftwareTrigger({});
    const double image = Median(images);
    const double intake = Median(intakes);
    const double wakeUp = Median(bares);
    std::printf("GetImage that waits, frame to host   %10.1f us\n", image / 1000);
    std::printf("of that intake, nobody waiting       %10.1f us\n", intake / 1000);
    std::printf("bare condition variable              %10.1f us\n", wakeUp / 1000);
    std::printf("ratio of the wake-ups                %10.3f\n", (image - intake) / wakeUp);
}

}  // namespace

int main() {
    XalogHost_SetStandardError(false);
    Xalog_ResetLevel(kLogOff);
    Bench bench;
    MeasureIntake(bench);
    MeasureCycle(bench);
    MeasureWakeUp(bench);
    return 0;
}

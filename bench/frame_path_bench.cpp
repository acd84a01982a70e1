// What the module costs a frame on its way from the camera to the host.
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <mutex>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "bench/camera_tool.h"
#include "bench/figures.h"
#include "imaging/shared_memory_base.h"
#include "module/log/xalog.h"
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

using bench::CameraTool;
using bench::Clock;
using bench::kBlocks;
using bench::kLogOff;
using bench::kTail;
using bench::Median;
using bench::Quantile;
using bench::Time;
using Nanoseconds = std::chrono::duration<double, std::nano>;
using namespace std::chrono_literals;

void MeasureIntake(CameraTool& tool) {
    struct Size {
        const char* name;
        std::uint16_t width;
        std::uint16_t height;
        int rounds;
    };
    for (const Size& size : {Size{"intake.640x480", 640, 480, 200},
                             {"intake.1280x1024", 1280, 1024, 100},
                             {"intake.2560x2048", 2560, 2048, 30},
                             {"intake.4096x4096", 4096, 4096, 10}}) {
        tool.UseFrame(size.width, size.height);
        tool.Deliver();
        tool.Free(tool.Take());  // its pages are there from now on
        std::vector<double> ratios;
        for (int block = 0; block < kBlocks; ++block) {
            std::vector<double> copies;
            std::vector<double> intakes;
            for (int round = 0; round < size.rounds; ++round) {
                intakes.push_back(Time([&] { tool.Deliver(); }));
                const cam::BufferNode node = tool.Take();
                copies.push_back(Time(
                    [&] { std::memcpy(node.data, tool.Pixels().data(), tool.Pixels().size()); }));
                tool.Free(node);
            }
            ratios.push_back(Median(intakes) / Median(copies));
        }
        bench::Print(size.name, ratios, "of_memcpy");
    }
}

// Of a size that no node has yet: the first frame populates its pages, the next one finds them
// prepared.
void MeasureNewSize(CameraTool& tool) {
    constexpr auto kPrepared = 30ms;
    std::vector<double> firsts;
    std::vector<double> nexts;
    for (int block = 0; block < kBlocks; ++block) {
        tool.UseFrame(2560, static_cast<std::uint16_t>(2048 + 64 * block));
        firsts.push_back(Time([&] { tool.Deliver(); }) / 1e6);
        std::this_thread::sleep_for(kPrepared);
        nexts.push_back(Time([&] { tool.Deliver(); }) / 1e6);
        tool.Free(tool.Take());
        tool.Free(tool.Take());
    }
    bench::Print("intake.new_size.first.2560x2048", firsts, "ms");
    bench::Print("intake.new_size.next.2560x2048", nexts, "ms");
}

void MeasureKeepingUp(CameraTool& tool) {
    constexpr int kRounds = 30;
    tool.UseFrame(2560, 2048);
    std::vector<std::uint8_t> hot(tool.Pixels().size());
    std::vector<double> ratios;
    for (int block = 0; block < kBlocks; ++block) {
        std::vector<double> copies;
        std::vector<double> cycles;
        for (int round = 0; round < kRounds; ++round) {
            cycles.push_back(Time([&] {
                tool.Deliver();
                tool.Free(tool.Take());
            }));
            copies.push_back(
                Time([&] { std::memcpy(hot.data(), tool.Pixels().data(), hot.size()); }));
        }
        ratios.push_back(Median(cycles) / Median(copies));
    }
    bench::Print("keeping_up.2560x2048", ratios, "of_memcpy", "<=1.03");
}

// Memory that lies in its pages as a node's pixels do: the processor copies more slowly between
// some places of a page than between others.
class PlacedBuffer {
  public:
    explicit PlacedBuffer(std::size_t size)
        : m_pages((sizeof(cam::SharedRegionHeader) + size) / sizeof(Page) + 1) {}
    [[nodiscard]] std::uint8_t* Data() {
        return m_pages.front().bytes + sizeof(cam::SharedRegionHeader);
    }

  private:
    struct alignas(4096) Page {
        std::uint8_t bytes[4096];
    };

    std::vector<Page> m_pages;
};

// The least that could do the module's work: a pool and a queue of the records that the host gets,
// behind a lock, and a notice.
class BareQueue {
  public:
    explicit BareQueue(std::size_t size) : m_buffers(2, PlacedBuffer(size)) {
        for (PlacedBuffer& buffer : m_buffers) {
            cam::BufferNode node;
            node.data = buffer.Data();
            m_free.push_back(node);
        }
    }
    void Deliver(const std::vector<std::uint8_t>& pixels) {
        cam::BufferNode node;
        {
            const std::lock_guard hold(m_lock);
            node = m_free.back();
            m_free.pop_back();
        }
        node.dataLength = static_cast<std::uint32_t>(pixels.size());
        node.frameNumber = ++m_frames;
        std::memcpy(node.data, pixels.data(), pixels.size());
        {
            const std::lock_guard hold(m_lock);
            m_queue.push_back(node);
        }
        m_arrived.notify_one();
    }
    cam::BufferNode Take() {
        const std::lock_guard hold(m_lock);
        const cam::BufferNode node = m_queue.front();
        m_queue.erase(m_queue.begin());
        return node;
    }
    void Free(const cam::BufferNode& node) {
        const std::lock_guard hold(m_lock);
        m_free.push_back(node);
    }

  private:
    std::vector<PlacedBuffer> m_buffers;
    std::uint32_t m_frames = 0;
    std::mutex m_lock;
    std::condition_variable m_arrived;
    std::vector<cam::BufferNode> m_free;
    std::vector<cam::BufferNode> m_queue;  // of two at most
};

void MeasureCycle(CameraTool& tool) {
    constexpr int kRounds = 40;
    constexpr int kCyclesARound = 50;  // one is too short for the clock
    tool.UseFrame(64, 64);
    BareQueue bare(tool.Pixels().size());
    tool.Deliver();
    tool.Free(tool.Take());
    PlacedBuffer target(tool.Pixels().size());
    std::vector<double> ratios;
    std::vector<double> absolute;
    std::vector<double> aboveCopies;
    std::uint64_t allocated = 0;
    for (int block = 0; block < kBlocks; ++block) {
        std::vector<double> bares;
        std::vector<double> cycles;
        std::vector<double> copies;
        for (int round = 0; round < kRounds; ++round) {
            const std::uint64_t before = allocations;
            const double cycle = Time([&] {
                for (int i = 0; i < kCyclesARound; ++i) {
                    tool.Deliver();
                    tool.Free(tool.Take());
                }
            });
            allocated += allocations - before;
            cycles.push_back(cycle / kCyclesARound);
            bares.push_back(Time([&] {
                                for (int i = 0; i < kCyclesARound; ++i) {
                                    bare.Deliver(tool.Pixels());
                                    bare.Free(bare.Take());
                                }
                            }) /
                            kCyclesARound);
            copies.push_back(Time([&] {
                                 for (int i = 0; i < kCyclesARound; ++i) {
                                     std::memcpy(target.Data(), tool.Pixels().data(),
                                                 tool.Pixels().size());
                                     std::atomic_signal_fence(std::memory_order_seq_cst);
                                 }
                             }) /
                             kCyclesARound);
        }
        ratios.push_back(Median(cycles) / Median(bares));
        absolute.push_back(Median(cycles));
        aboveCopies.push_back(Median(cycles) - Median(copies));
    }
    bench::Print("cycle.64x64", absolute, "ns");
    bench::Print("cycle.64x64.above_its_copy", aboveCopies, "ns", "<=200");
    bench::Print("cycle.64x64.against_bare_queue", ratios, "ratio", "<=2.0");
    bench::Print("cycle.allocations", {static_cast<double>(allocated)}, "in_30000", "<=0");
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

void MeasureWakeUp(CameraTool& tool) {
    constexpr int kRounds = 200;
    constexpr auto kPatience = 2s;
    tool.UseFrame(64, 64);

    std::mutex lock;
    std::condition_variable arrived;
    bool there = false;
    std::vector<std::uint8_t> target(tool.Pixels().size());
    Signaller bare([&] {
        std::memcpy(target.data(), tool.Pixels().data(), target.size());
        {
            const std::lock_guard hold(lock);
            there = true;
        }
        arrived.notify_one();
    });
    Signaller camera([&] { tool.Deliver(); });
    bare_sdk::OnSoftwareTrigger([&] { camera.Ask(); });

    std::vector<double> middles;
    std::vector<double> tails;
    std::vector<double> callbacks;
    std::vector<double> waits;
    for (int block = 0; block < kBlocks; ++block) {
        std::vector<double> bares;
        std::vector<double> images;
        std::vector<double> notices;
        std::vector<double> intakes;
        for (int round = 0; round < kRounds; ++round) {
            {
                std::unique_lock hold(lock);
                there = false;
                bare.Ask();
                // With a limit, as the module's wait has one.
                if (!arrived.wait_for(hold, kPatience, [&] { return there; })) {
                    std::exit(1);
                }
                bares.push_back(Nanoseconds(Clock::now() - bare.Began()).count());
            }
            notices.push_back(bare.WaitForWork());
            const cam::BufferNode node = tool.Take();
            images.push_back(Nanoseconds(Clock::now() - camera.Began()).count());
            intakes.push_back(camera.WaitForWork());
            tool.Free(node);
        }
        waits.push_back(Median(images) / 1000);
        middles.push_back(Median(images) / Median(bares));
        tails.push_back(Quantile(images, kTail) / Quantile(bares, kTail));
        callbacks.push_back(Median(intakes) / Median(notices));
    }
    bare_sdk::OnSoftwareTrigger({});
    bench::Print("get_image.waiting", waits, "us");
    bench::Print("get_image.waiting.against_wake_up", middles, "ratio", "<=1.15");
    bench::Print("get_image.waiting.against_wake_up.p99", tails, "ratio", "<=1.5");
    bench::Print("callback_with_waiter.against_notify", callbacks, "ratio", "<=1.25");
}

// Frames that are converted keep the frame thread busy; one that is queued must not wait for that.
void MeasureTakingBesideConversions(CameraTool& tool) {
    constexpr int kFrames = 100;
    constexpr auto kConversion = 15ms;
    tool.Set("ImageCacheNum", std::to_string(2 * kFrames));
    bare_sdk::ConversionsTake(kConversion);
    std::vector<double> middles;
    std::vector<double> tails;
    for (int block = 0; block < kBlocks; ++block) {
        tool.UseFrame(64, 64);
        for (int frame = 0; frame < kFrames; ++frame) {
            tool.Deliver();
        }
        tool.UseFrame(64, 64, pixel_format::kBayerRG8);
        std::atomic<bool> stop{false};
        std::atomic<int> converted{0};
        std::thread camera([&] {
            while (!stop) {
                tool.Deliver();
                ++converted;
            }
        });
        std::vector<double> takes;
        for (int frame = 0; frame < kFrames; ++frame) {
            std::this_thread::sleep_for(1ms);
            cam::BufferNode node;
            takes.push_back(Time([&] { node = tool.Take(); }) / 1000);
            tool.Free(node);
        }
        stop = true;
        camera.join();
        tool.Set("ClearCacheImage", "");
        if (converted == 0) {
            std::fprintf(stderr, "no conversion ran\n");
            std::exit(1);
        }
        middles.push_back(Median(takes));
        tails.push_back(Quantile(takes, kTail));
    }
    bare_sdk::ConversionsTake(0ms);
    tool.UseFrame(64, 64);
    bench::Print("queued_frame.beside_conversions", middles, "us");
    bench::Print("queued_frame.beside_conversions.p99", tails, "us", "<=50");
}

}  // namespace

int main() {
    XalogHost_SetStandardError(false);
    Xalog_ResetLevel(kLogOff);
    CameraTool tool;
    MeasureIntake(tool);
    MeasureKeepingUp(tool);
    {
        CameraTool fresh(2);
        MeasureNewSize(fresh);
    }
    MeasureCycle(tool);
    MeasureWakeUp(tool);
    MeasureTakingBesideConversions(tool);
    return 0;
}

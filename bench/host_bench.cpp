// What a host sees of the module as a whole: run by camera, many modules, memory, lists, the log.
#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bench/camera_tool.h"
#include "bench/figures.h"
#include "module/log/xalog.h"
#include "standins/xalog/xalog_host.h"

namespace {

using bench::CameraTool;
using bench::Clock;
using bench::kBlocks;
using bench::kLogOff;
using bench::kTail;
using bench::Median;
using bench::Quantile;
using bench::Time;
using Milliseconds = std::chrono::duration<double, std::milli>;
using namespace std::chrono_literals;

// A host whose procedure takes each frame at once and notes how long after its delivery it was
// asked.
class Procedure {
  public:
    explicit Procedure(CameraTool& tool) : m_tool(tool) {
        const ModuleFrameObserver observer{this, nullptr, nullptr, &Procedure::OnOffer};
        ModuleFrame_SetObserver(&observer);
        m_tool.Set("TriggerProcessRunStatus", "True");
    }
    ~Procedure() {
        m_tool.Set("TriggerProcessRunStatus", "False");
        ModuleFrame_SetObserver(nullptr);
    }
    Procedure(const Procedure&) = delete;
    Procedure& operator=(const Procedure&) = delete;

    // Delivers `frames` at this rate; milliseconds from each delivery to its offer.
    std::vector<double> Run(int frames, std::chrono::microseconds period) {
        {
            const std::lock_guard hold(m_lock);
            m_delays.clear();
        }
        Clock::time_point due = Clock::now();
        for (int frame = 0; frame < frames; ++frame) {
            std::this_thread::sleep_until(due);
            due += period;
            {
                const std::lock_guard hold(m_lock);
                m_delivered[m_next % m_delivered.size()] = Clock::now();
            }
            m_next = m_tool.Deliver() + 1;
        }
        std::this_thread::sleep_for(50ms);
        const std::lock_guard hold(m_lock);
        return m_delays;
    }
    void StartAt(std::uint32_t number) { m_next = number; }

  private:
    static std::uint32_t OnOffer(void* user, std::int32_t, const char* text, std::int32_t) {
        auto& self = *static_cast<Procedure*>(user);
        const Clock::time_point now = Clock::now();
        {
            const std::lock_guard hold(self.m_lock);
            const std::size_t number = std::strtoul(text, nullptr, 10);
            self.m_delays.push_back(
                Milliseconds(now - self.m_delivered[number % self.m_delivered.size()]).count());
        }
        self.m_tool.Free(self.m_tool.Take());
        return cam::kOk;
    }

    CameraTool& m_tool;
    std::mutex m_lock;
    std::array<Clock::time_point, 4096> m_delivered{};
    std::vector<double> m_delays;
    std::uint32_t m_next = 0;
};

void MeasureRunByCamera(CameraTool& tool) {
    tool.UseFrame(640, 480);
    const std::uint32_t last = tool.Deliver();
    tool.Set("ClearCacheImage", "");
    Procedure procedure(tool);
    procedure.StartAt(last + 1);
    const auto measure = [&](const std::string& name, int frames,
                             std::chrono::microseconds period) {
        std::vector<double> means;
        std::vector<double> tails;
        std::vector<double> missing;
        for (int block = 0; block < kBlocks; ++block) {
            const std::vector<double> delays = procedure.Run(frames, period);
            double sum = 0;
            for (const double delay : delays) {
                sum += delay;
            }
            means.push_back(delays.empty() ? 1e9 : sum / static_cast<double>(delays.size()));
            tails.push_back(delays.empty() ? 1e9 : Quantile(delays, kTail));
            missing.push_back(frames - static_cast<double>(delays.size()));
        }
        bench::Print((name + ".delay_mean").c_str(), means, "ms", "<=0.1");
        bench::Print((name + ".delay_p99").c_str(), tails, "ms", "<=0.5");
        bench::Print((name + ".dropped").c_str(), missing, "frames", "<=0");
    };
    measure("run_by_camera.245fps", 100, 4082us);
    measure("run_by_camera.1000fps", 400, 1000us);
}

// Each thread does `work(thread)` often; milliseconds until all are done.
template <typename Work>
double TimeThreads(std::size_t count, Work&& work) {
    return Time([&] {
               std::vector<std::thread> threads;
               for (std::size_t thread = 0; thread < count; ++thread) {
                   threads.emplace_back([&work, thread] { work(thread); });
               }
               for (std::thread& thread : threads) {
                   thread.join();
               }
           }) /
           1e6;
}

void MeasureManyModules() {
    constexpr int kRounds = 20;
    std::vector<std::unique_ptr<CameraTool>> tools;
    std::vector<std::vector<std::uint8_t>> targets;
    for (const std::size_t count : {1U, 2U, 4U, 8U, 16U}) {
        while (tools.size() < count) {
            tools.push_back(
                std::make_unique<CameraTool>(static_cast<std::int32_t>(tools.size() + 2)));
            tools.back()->UseFrame(1280, 1024);
            targets.emplace_back(tools.back()->Pixels().size());
        }
        const auto grab = [&](std::size_t thread) {
            for (int round = 0; round < kRounds; ++round) {
                tools[thread]->Deliver();
                tools[thread]->Free(tools[thread]->Take());
            }
        };
        const auto copy = [&](std::size_t thread) {
            const std::vector<std::uint8_t>& pixels = tools[thread]->Pixels();
            for (int round = 0; round < kRounds; ++round) {
                std::memcpy(targets[thread].data(), pixels.data(), pixels.size());
            }
        };
        TimeThreads(count, grab);
        std::vector<double> ratios;
        for (int block = 0; block < kBlocks; ++block) {
            const double grabbing = TimeThreads(count, grab);
            ratios.push_back(grabbing / TimeThreads(count, copy));
        }
        bench::Print(("modules." + std::to_string(count)).c_str(), ratios, "of_threads_copying");
    }
}

// Resident pages of the process, its regions included.
double ResidentKilobytes() {
    std::ifstream pages("/proc/self/statm");
    long total = 0;
    long resident = 0;
    pages >> total >> resident;
    return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1024;
}

void MeasureMemory() {
    constexpr int kFrames = 20;
    std::vector<std::unique_ptr<CameraTool>> tools;
    std::vector<double> modules;
    std::vector<double> frames;
    for (int block = 0; block <= kBlocks; ++block) {
        const double before = ResidentKilobytes();
        tools.push_back(std::make_unique<CameraTool>(100 + block));
        const double created = ResidentKilobytes();
        CameraTool& tool = *tools.back();
        tool.UseFrame(640, 480);
        const double pixels = static_cast<double>(tool.Pixels().size()) / 1024;
        const double empty = ResidentKilobytes();
        for (int frame = 0; frame < kFrames; ++frame) {
            tool.Deliver();
        }
        if (block > 0) {  // the first one brings what all share
            modules.push_back(created - before);
            frames.push_back((ResidentKilobytes() - empty) / kFrames - pixels);
        }
    }
    bench::Print("memory.per_module", modules, "KiB");
    bench::Print("memory.per_waiting_frame.above_pixels", frames, "KiB");
}

void MeasureList(CameraTool& tool) {
    constexpr std::uint32_t kCameras = 256;
    bare_sdk::ListCameras(kCameras);
    std::vector<char> answer(1 << 20);
    std::vector<double> times;
    for (int block = 0; block < kBlocks; ++block) {
        tool.Set("EnumCamera", "");
        times.push_back(Time([&] { tool.Get("CameraName", answer); }) / 1e6);
    }
    bare_sdk::ListCameras(1);
    bench::Print("list.256_cameras", times, "ms");
}

void MeasureLog(CameraTool& tool) {
    constexpr int kRounds = 20;
    tool.UseFrame(2560, 2048);
    const auto cycle = [&](int level) {
        Xalog_ResetLevel(level);
        const double intake = Time([&] { tool.Deliver(); });
        Xalog_ResetLevel(kLogOff);
        tool.Free(tool.Take());
        return intake;
    };
    const auto measure = [&](const std::string& name, int level, const char* goal) {
        std::vector<double> ratios;
        for (int block = 0; block < kBlocks; ++block) {
            std::vector<double> quiet;
            std::vector<double> logged;
            for (int round = 0; round < kRounds; ++round) {
                // In turns, because the second of two finds the machine another than the first.
                if (round % 2 == 0) {
                    quiet.push_back(cycle(kLogOff));
                }
                logged.push_back(cycle(level));
                if (round % 2 != 0) {
                    quiet.push_back(cycle(kLogOff));
                }
            }
            ratios.push_back(Median(logged) / Median(quiet));
        }
        bench::Print(name.c_str(), ratios, "of_intake_without_log", goal);
    };
    const std::string file = std::filesystem::temp_directory_path() / "host_bench.log";
    if (!XalogHost_SetFile(file.c_str())) {
        std::fprintf(stderr, "%s cannot be written\n", file.c_str());
        std::exit(1);
    }
    for (int level = 1; level <= 4; ++level) {
        measure("log.level_" + std::to_string(level), level, "<=1.05");
    }
    XalogHost_SetFile(nullptr);
    std::filesystem::remove(file);
    XalogHost_SetSink([](std::int32_t, const char*, void*) { std::this_thread::sleep_for(10ms); },
                      nullptr);
    measure("log.sink_of_10_ms", 1, "<=1.05");
    XalogHost_SetSink(nullptr, nullptr);
}

// Voluntary context switches of all threads but this one.
long WakeUps() {
    long sum = 0;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
        if (thread.path().filename() == std::to_string(getpid())) {
            continue;
        }
        std::ifstream status(thread.path() / "status");
        for (std::string line; std::getline(status, line);) {
            long count = 0;
            if (std::sscanf(line.c_str(), "voluntary_ctxt_switches: %ld", &count) == 1) {
                sum += count;
            }
        }
    }
    return sum;
}

void MeasureIdling(CameraTool& tool) {
    tool.Set("TriggerProcessRunStatus", "True");
    std::vector<double> wakeUps;
    for (int block = 0; block < kBlocks; ++block) {
        const long before = WakeUps();
        std::this_thread::sleep_for(500ms);
        wakeUps.push_back(2.0 * static_cast<double>(WakeUps() - before));
    }
    tool.Set("TriggerProcessRunStatus", "False");
    bench::Print("idle.wake_ups", wakeUps, "per_second", "<=10");
}

}  // namespace

int main() {
    XalogHost_SetStandardError(false);
    Xalog_ResetLevel(kLogOff);
    {
        CameraTool tool;
        MeasureIdling(tool);
        MeasureRunByCamera(tool);
        MeasureList(tool);
    }
    MeasureManyModules();
    MeasureMemory();
    CameraTool tool;
    MeasureLog(tool);
    return 0;
}

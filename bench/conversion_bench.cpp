// The camera SDK stand-in's pixel conversions against those of image libraries, one thread, 5 MP.
// Those do not compute the same to the last bit (OpenCV copies the frame's edges, YUV is
// video-range there); the work is the same.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "bench/figures.h"
#include "camera/sdk/pixel_format.h"
#include "standins/kz_camera_control/pixel_conversion.h"

#ifdef BENCH_OPENCV
#include <opencv2/imgproc.hpp>
#endif
#ifdef BENCH_LIBYUV
#include <libyuv.h>
#endif

namespace {

using namespace pixel_format;
using Bytes = std::vector<std::uint8_t>;

constexpr int kWidth = 2448;
constexpr int kHeight = 2048;
constexpr std::size_t kPixels = std::size_t{kWidth} * kHeight;

struct Frame {
    Bytes source = Bytes(kPixels * 3);
    Bytes target = Bytes(kPixels * 3);

    Frame() {
        std::minstd_rand random(1);
        std::generate(source.begin(), source.end(),
                      [&] { return static_cast<std::uint8_t>(random() >> 8); });
    }
};

struct Comparison {
    std::string name;
    std::string goal;
    std::uint32_t from;
    std::uint32_t to;
    std::function<void(Frame&)> other;
};

void Convert(Frame& frame, std::uint32_t from, std::uint32_t to) {
    PixelConvertParam param{};
    param.width = kWidth;
    param.height = kHeight;
    param.sourcePixelType = from;
    param.source = frame.source.data();
    param.sourceLength = static_cast<std::uint32_t>(frame.source.size());
    param.destinationPixelType = to;
    param.destination = frame.target.data();
    param.destinationCapacity = static_cast<std::uint32_t>(frame.target.size());
    if (kz::ConvertPixels(param) != KZ_CC_OK) {
        std::fprintf(stderr, "conversion_bench: %08x was not converted\n", from);
        std::exit(1);
    }
}

#ifdef BENCH_OPENCV
cv::Mat In(Frame& frame, int type) {
    return {kHeight, kWidth, type, frame.source.data()};
}
cv::Mat Out(Frame& frame, int type) {
    return {kHeight, kWidth, type, frame.target.data()};
}
std::function<void(Frame&)> Cv(int inType, int outType, int code) {
    return [=](Frame& frame) {
        cv::Mat out = Out(frame, outType);
        cv::cvtColor(In(frame, inType), out, code);
    };
}
#endif

// The loop that anyone would write first.
void PlainPacked(Frame& frame) {
    for (std::size_t i = 0; i < kPixels; ++i) {
        frame.target[i] = frame.source[i / 2 * 3 + i % 2 * 2];
    }
}

std::vector<Comparison> Comparisons() {
    std::vector<Comparison> all = {
        {"convert.mono12packed.plain_loop", ">=0.8", kMono12Packed, kMono8, PlainPacked},
    };
#ifdef BENCH_LIBYUV
    all.push_back({"convert.mono12.libyuv", ">=0.8", kMono12, kMono8, [](Frame& frame) {
                       constexpr int kTwelveBits = 1 << (24 - 12);
                       libyuv::Convert16To8Plane(
                           reinterpret_cast<const std::uint16_t*>(frame.source.data()), kWidth,
                           frame.target.data(), kWidth, kTwelveBits, kWidth, kHeight);
                   }});
#endif
#ifdef BENCH_OPENCV
    all.push_back({"convert.mono12.opencv", "-", kMono12, kMono8, [](Frame& frame) {
                       cv::Mat out = Out(frame, CV_8UC1);
                       In(frame, CV_16UC1).convertTo(out, CV_8U, 1.0 / 16);
                   }});
    all.push_back({"convert.bayer8.opencv", ">=0.8", kBayerRG8, kRGB8,
                   Cv(CV_8UC1, CV_8UC3, cv::COLOR_BayerRG2RGB)});
    all.push_back({"convert.bayer12.opencv", "-", kBayerRG12, kRGB8, [](Frame& frame) {
                       static cv::Mat deep(kHeight, kWidth, CV_16UC3);
                       cv::cvtColor(In(frame, CV_16UC1), deep, cv::COLOR_BayerRG2RGB);
                       cv::Mat out = Out(frame, CV_8UC3);
                       deep.convertTo(out, CV_8U, 1.0 / 16);
                   }});
    all.push_back(
        {"convert.bgr8.opencv", ">=0.8", kBGR8, kRGB8, Cv(CV_8UC3, CV_8UC3, cv::COLOR_BGR2RGB)});
    all.push_back({"convert.yuv422.opencv", ">=0.8", kYUV422_8, kRGB8,
                   Cv(CV_8UC2, CV_8UC3, cv::COLOR_YUV2RGB_YUY2)});
    all.push_back({"convert.rgb8_to_mono8.opencv", "-", kRGB8, kMono8,
                   Cv(CV_8UC3, CV_8UC1, cv::COLOR_RGB2GRAY)});
#endif
    return all;
}

// Keeps the CPU time of each repetition by name.
class Collector : public benchmark::BenchmarkReporter {
  public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Iteration) {
                times[run.run_name.function_name].push_back(run.GetAdjustedCPUTime());
            }
        }
    }

    std::map<std::string, std::vector<double>> times;
};

}  // namespace

int main() {
#ifdef BENCH_OPENCV
    cv::setNumThreads(1);
#endif
    std::string program = "conversion_bench";
    std::string interleaved = "--benchmark_enable_random_interleaving=true";
    std::string repetitions = "--benchmark_repetitions=" + std::to_string(bench::kBlocks);
    std::string minTime = "--benchmark_min_time=0.03";
    char* arguments[] = {program.data(), interleaved.data(), repetitions.data(), minTime.data()};
    int count = 4;
    benchmark::Initialize(&count, arguments);

    static Frame frame;
    const std::vector<Comparison> comparisons = Comparisons();
    for (const Comparison& comparison : comparisons) {
        benchmark::RegisterBenchmark((comparison.name + ".own").c_str(),
                                     [&](benchmark::State& state) {
                                         for ([[maybe_unused]] auto _ : state) {
                                             Convert(frame, comparison.from, comparison.to);
                                         }
                                     })

            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(comparison.name.c_str(),
                                     [&](benchmark::State& state) {
                                         for ([[maybe_unused]] auto _ : state) {
                                             comparison.other(frame);
                                             benchmark::ClobberMemory();
                                         }
                                     })

            ->Unit(benchmark::kMillisecond);
    }
    Collector collector;
    benchmark::RunSpecifiedBenchmarks(&collector);
    for (const Comparison& comparison : comparisons) {
        const std::vector<double>& own = collector.times[comparison.name + ".own"];
        const std::vector<double>& other = collector.times[comparison.name];
        std::vector<double> ratios;
        for (std::size_t i = 0; i < std::min(own.size(), other.size()); ++i) {
            ratios.push_back(other[i] / own[i]);
        }
        bench::Print((comparison.name + ".own_ms").c_str(), own, "ms");
        bench::Print(comparison.name.c_str(), ratios, "of_its_speed", comparison.goal.c_str());
    }
    return 0;
}

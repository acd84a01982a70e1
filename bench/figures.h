// How a benchmark measures and prints: nothing is asserted, the goals stand beside the values.
#pragma once

#include <chrono>
#include <cstddef>
#include <vector>

namespace bench {

using Clock = std::chrono::steady_clock;

// A figure is measured in so many blocks at least, what it is compared with in turns inside each,
// so that the machine's moods hit both.
inline constexpr int kBlocks = 15;

// The fraction that a tail is stated at.
inline constexpr double kTail = 0.99;

// Of any order; not empty.
[[nodiscard]] double Quantile(std::vector<double> samples, double fraction);
[[nodiscard]] inline double Median(std::vector<double> samples) {
    return Quantile(std::move(samples), 0.5);
}

// "name: value unit goal (lowest to highest in n blocks)": the median of the blocks. `goal` is
// "<=1.05", ">=0.8" or, where there is none, "-". scripts/bench.sh reads it.
void Print(const char* name, const std::vector<double>& blocks, const char* unit,
           const char* goal = "-");

// In nanoseconds.
template <typename Work>
double Time(Work&& work) {
    const Clock::time_point start = Clock::now();
    work();
    return std::chrono::duration<double, std::nano>(Clock::now() - start).count();
}

}  // namespace bench

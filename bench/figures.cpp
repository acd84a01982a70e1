#include "bench/figures.h"

#include <algorithm>
#include <cstdio>

namespace bench {

double Quantile(std::vector<double> samples, double fraction) {
    const auto place = samples.begin() + static_cast<std::ptrdiff_t>(
                                             static_cast<double>(samples.size() - 1) * fraction);
    std::nth_element(samples.begin(), place, samples.end());
    return *place;
}

void Print(const char* name, const std::vector<double>& blocks, const char* unit,
           const char* goal) {
    const auto [low, high] = std::minmax_element(blocks.begin(), blocks.end());
    std::printf("%s: %.4g %s %s (%.4g to %.4g in %zu blocks)\n", name, Median(blocks), unit, goal,
                *low, *high, blocks.size());
    std::fflush(stdout);
}

}  // namespace bench

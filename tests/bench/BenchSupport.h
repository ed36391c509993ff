#pragma once

#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <ctime>

#include "AllocationMeter.h"

namespace korvane_bench {

/// CPU time of the process so far, in ns.
inline double CpuNanoseconds() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return 1e9 * static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec);
}

/// Runs `work` once per iteration and labels the line with the figures that every benchmark of the project has, as
/// plain numbers: ns per pixel (process CPU time, one thread) and the peak of bytes per pixel that the work allocates.
/// The same are counters, for the machine-readable formats. `prepare` runs untimed before each.
template <typename Prepare, typename Work>
void PerPixel(benchmark::State& state, std::uint64_t pixels, Prepare prepare, Work work) {
    std::size_t peak = 0;
    double spent = 0.0;
    for (auto _ : state) {
        state.PauseTiming();
        prepare();
        ResetPeakBytes();
        const double before = CpuNanoseconds();
        state.ResumeTiming();
        work();
        state.PauseTiming();
        spent += CpuNanoseconds() - before;
        peak = PeakBytes() > peak ? PeakBytes() : peak;
        state.ResumeTiming();
    }
    const double perPixel = spent / (static_cast<double>(state.iterations()) * static_cast<double>(pixels));
    const double bytes = static_cast<double>(peak) / static_cast<double>(pixels);
    state.counters["ns/px"] = perPixel;
    state.counters["B/px"] = bytes;
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%.1f ns/px %.1f B/px", perPixel, bytes);
    state.SetLabel(text.data());
}

}  // namespace korvane_bench

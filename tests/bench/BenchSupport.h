#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <ctime>

#include "AllocationMeter.h"

namespace korvane_bench {

/// CPU time of the whole process, in seconds.
inline double CpuSeconds() {
    std::timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

/// Runs `work` once per iteration and adds the counters that every figure of the project has: nanoseconds of CPU time per
/// pixel and the peak of bytes per pixel that the work allocates. `prepare` runs untimed before each.
template <typename Prepare, typename Work>
void PerPixel(benchmark::State& state, std::uint64_t pixels, Prepare prepare, Work work) {
    std::size_t peak = 0;
    double seconds = 0.0;
    for (auto _ : state) {
        state.PauseTiming();
        prepare();
        ResetPeakBytes();
        const double start = CpuSeconds();
        state.ResumeTiming();
        work();
        state.PauseTiming();
        seconds += CpuSeconds() - start;
        peak = PeakBytes() > peak ? PeakBytes() : peak;
        state.ResumeTiming();
    }
    const double pixelsInAll = static_cast<double>(pixels) * static_cast<double>(state.iterations());
    state.counters["ns/px"] = 1e9 * seconds / pixelsInAll;
    state.counters["B/px"] = static_cast<double>(peak) / static_cast<double>(pixels);
}

}  // namespace korvane_bench

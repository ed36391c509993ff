#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>

#include "AllocationMeter.h"

namespace korvane_bench {

/// Runs `work` once per iteration and adds the counters that every figure of the project has: ns per pixel (process CPU time
/// of one thread) and the peak of bytes per pixel that the work allocates. `prepare` runs untimed before each.
template <typename Prepare, typename Work>
void PerPixel(benchmark::State& state, std::uint64_t pixels, Prepare prepare, Work work) {
    std::size_t peak = 0;
    for (auto _ : state) {
        state.PauseTiming();
        prepare();
        ResetPeakBytes();
        state.ResumeTiming();
        work();
        state.PauseTiming();
        peak = PeakBytes() > peak ? PeakBytes() : peak;
        state.ResumeTiming();
    }
    state.counters["ns/px"] = benchmark::Counter(static_cast<double>(pixels) * 1e-9,
                                                 benchmark::Counter::kIsIterationInvariantRate |
                                                     benchmark::Counter::kInvert);
    state.counters["B/px"] = static_cast<double>(peak) / static_cast<double>(pixels);
}

}  // namespace korvane_bench

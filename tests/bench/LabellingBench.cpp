#include "operations/Labelling.h"

#include "BenchImages.h"
#include "BenchSupport.h"
#include "reference/PlainLabelling.h"

namespace {

using korvane_bench::PerPixel;
using korvane_bench::Plateaus;

void Label(benchmark::State& state, const qvox::LabelImage& source) {
    qvox::ComponentImage components;
    PerPixel(
        state, source.VoxelCount(), [] {},
        [&] { qvox::LabelForegroundRegions(components, source, qvox::Neighbourhood8{}); });
    state.counters["components"] = static_cast<double>(components.Components().size());
}

void LabelDiscs(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    Label(state, korvane_bench::DiscLabels(size, korvane_bench::DiscPlaces(size, 350, 1), 1.0));
}

void LabelPlateaus(benchmark::State& state) { Label(state, Plateaus(static_cast<std::size_t>(state.range(0)))); }

/// The plain version on the same picture, for the ratio.
void LabelPlateausPlain(benchmark::State& state) {
    const qvox::LabelImage source = Plateaus(static_cast<std::size_t>(state.range(0)));
    PerPixel(
        state, source.VoxelCount(), [] {},
        [&] { benchmark::DoNotOptimize(korvane_reference::PlainLabelling(source)); });
}

void Sizes(benchmark::internal::Benchmark* benchmark) {
    for (const int size : {512, 1024, 2048, 4096}) benchmark->Arg(size);
    benchmark->Unit(benchmark::kMillisecond);
}

BENCHMARK(LabelDiscs)->Apply(Sizes);
BENCHMARK(LabelPlateaus)->Apply(Sizes);
BENCHMARK(LabelPlateausPlain)->Apply(Sizes);

}  // namespace

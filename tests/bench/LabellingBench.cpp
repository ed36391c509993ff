#include "operations/Labelling.h"

#include <cmath>

#include "BenchImages.h"
#include "BenchSupport.h"
#include "reference/PlainLabelling.h"

namespace {

using korvane_bench::PerPixel;

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

/// Smoothed noise cut into grey levels: about 57,000 plateaus from 2048 on.
qvox::LabelImage Plateaus(std::size_t size) {
    const auto noise = korvane_bench::SmoothNoise(size, size / 1024, 2);
    double sum = 0.0;
    for (const float v : noise) sum += (static_cast<double>(v) - 0.5) * (static_cast<double>(v) - 0.5);
    const double step = std::sqrt(sum / static_cast<double>(noise.size())) * (size == 512 ? 1.6 : 0.77);
    qvox::LabelImage source;
    source.Resize(size, size, 1);
    for (std::size_t i = 0; i < noise.size(); ++i) {
        source[i] = static_cast<std::uint16_t>(100.0 + std::floor((static_cast<double>(noise[i]) - 0.5) / step));
    }
    return source;
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

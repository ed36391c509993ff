#include "operations/Watershed.h"

#include <algorithm>
#include <random>

#include "BenchImages.h"
#include "BenchSupport.h"
#include "WatershedPictures.h"
#include "operations/QueueFlood.h"
#include "reference/PlainWatershed.h"

namespace {

using korvane_bench::DiscLabels;
using korvane_bench::DiscPlaces;
using korvane_bench::PerPixel;
using korvane_bench::VesicleCount;
using korvane_bench::VesicleRelief;
using korvane_bench::WithBorderMarker;

void Flood(benchmark::State& state, const qvox::VoxelImage<float>& relief, const qvox::LabelImage& markers) {
    qvox::LabelImage output;
    output.Resize(markers.SizeX(), markers.SizeY(), 1);
    output.Zero();
    PerPixel(
        state, markers.VoxelCount(), [] {},
        [&] { qvox::WatershedFromMarkers(relief, markers, output, qvox::Neighbourhood8{}); });
}

void WatershedVesicles(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    const auto places = DiscPlaces(size, VesicleCount(size), 1);
    Flood(state, VesicleRelief(size, places, 2), WithBorderMarker(DiscLabels(size, places, 0.5)));
}

void WatershedPointMarkers(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    const auto places = DiscPlaces(size, VesicleCount(size), 1);
    Flood(state, VesicleRelief(size, places, 2), WithBorderMarker(DiscLabels(size, places, 0.02)));
}

void WatershedManyMarkers(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    const auto places = DiscPlaces(size, VesicleCount(size), 1);
    qvox::LabelImage markers;
    markers.Resize(size, size, 1);
    std::mt19937 random(3);
    for (std::uint16_t& v : markers)
        v = random() % 50 == 0 ? static_cast<std::uint16_t>(1 + random() % 60000) : std::uint16_t{0};
    Flood(state, VesicleRelief(size, places, 2), markers);
}

void WatershedNoise(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    const auto noise = korvane_bench::SmoothNoise(size, 0, 4);
    qvox::VoxelImage<float> relief;
    relief.Resize(size, size, 1);
    std::copy(noise.begin(), noise.end(), relief.begin());
    Flood(state, relief, WithBorderMarker(DiscLabels(size, DiscPlaces(size, VesicleCount(size), 1), 0.1)));
}

void WatershedPlateau(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    qvox::VoxelImage<float> relief;
    relief.Resize(size, size, 1);
    relief.Zero();
    Flood(state, relief, DiscLabels(size, DiscPlaces(size, VesicleCount(size), 1), 0.1));
}

/// By the queue on the picture of WatershedVesicles.
void WatershedVesiclesQueue(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    const auto places = DiscPlaces(size, VesicleCount(size), 1);
    const qvox::VoxelImage<float> relief = VesicleRelief(size, places, 2);
    const qvox::LabelImage markers = WithBorderMarker(DiscLabels(size, places, 0.5));
    qvox::LabelImage output;
    output.Resize(size, size, 1);
    output.Zero();
    PerPixel(
        state, markers.VoxelCount(), [] {}, [&] { qvox::LabelByQueue(relief, markers, output, qvox::RunOneByOne); });
}

/// The plain version on the picture of WatershedVesicles, for the ratio.
void WatershedVesiclesPlain(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    const auto places = DiscPlaces(size, VesicleCount(size), 1);
    const qvox::VoxelImage<float> relief = VesicleRelief(size, places, 2);
    const qvox::LabelImage markers = WithBorderMarker(DiscLabels(size, places, 0.5));
    PerPixel(
        state, markers.VoxelCount(), [] {},
        [&] { benchmark::DoNotOptimize(korvane_reference::PlainWatershed(relief, markers)); });
}

void Sizes(benchmark::internal::Benchmark* benchmark) {
    for (const int size : {512, 1024, 2048, 4096}) benchmark->Arg(size);
    benchmark->Unit(benchmark::kMillisecond);
}

BENCHMARK(WatershedVesicles)->Apply(Sizes);
BENCHMARK(WatershedVesiclesQueue)->Apply(Sizes);
BENCHMARK(WatershedVesiclesPlain)->Apply(Sizes);
BENCHMARK(WatershedPointMarkers)->Apply(Sizes);
BENCHMARK(WatershedManyMarkers)->Apply(Sizes);
BENCHMARK(WatershedNoise)->Apply(Sizes);
BENCHMARK(WatershedPlateau)->Apply(Sizes);

}  // namespace

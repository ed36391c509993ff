#include <cstring>
#include <iostream>  // which the headers below take for granted
#include <vigra/multi_labeling.hxx>
#include <vigra/multi_watersheds.hxx>

#include "BenchImages.h"
#include "BenchSupport.h"
#include "WatershedPictures.h"

/// VIGRA's operations that mean the same as ours, on the same pictures.
namespace {

using korvane_bench::DiscLabels;
using korvane_bench::DiscPlaces;
using korvane_bench::PerPixel;

vigra::Shape2 ShapeOf(std::size_t size) {
    return {static_cast<vigra::MultiArrayIndex>(size), static_cast<vigra::MultiArrayIndex>(size)};
}

/// The flooding of WatershedVesicles: 8-neighbourhood, no dams.
void VigraWatershedVesicles(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    const auto places = DiscPlaces(size, korvane_bench::VesicleCount(size), 1);
    qvox::VoxelImage<float> relief = korvane_bench::VesicleRelief(size, places, 2);
    const qvox::LabelImage markers = korvane_bench::WithBorderMarker(DiscLabels(size, places, 0.5));
    const vigra::MultiArrayView<2, float> data(ShapeOf(size), relief.begin());
    vigra::MultiArray<2, std::uint16_t> labels(ShapeOf(size));
    PerPixel(
        state, markers.VoxelCount(),
        [&] { std::memcpy(labels.data(), markers.begin(), markers.VoxelCount() * sizeof(std::uint16_t)); },
        [&] { vigra::watershedsMultiArray(data, labels, vigra::IndirectNeighborhood); });
}

void Label(benchmark::State& state, qvox::LabelImage source) {
    const vigra::MultiArrayView<2, std::uint16_t> data(ShapeOf(source.SizeX()), source.begin());
    vigra::MultiArray<2, std::uint32_t> labels(ShapeOf(source.SizeX()));
    PerPixel(
        state, source.VoxelCount(), [] {},
        [&] { vigra::labelMultiArrayWithBackground(data, labels, vigra::IndirectNeighborhood, std::uint16_t{0}); });
}

void VigraLabelDiscs(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    Label(state, DiscLabels(size, DiscPlaces(size, 350, 1), 1.0));
}

void VigraLabelPlateaus(benchmark::State& state) {
    Label(state, korvane_bench::Plateaus(static_cast<std::size_t>(state.range(0))));
}

void Sizes(benchmark::internal::Benchmark* benchmark) {
    for (const int size : {512, 1024, 2048, 4096}) benchmark->Arg(size);
    benchmark->Unit(benchmark::kMillisecond);
}

BENCHMARK(VigraWatershedVesicles)->Apply(Sizes);
BENCHMARK(VigraLabelDiscs)->Apply(Sizes);
BENCHMARK(VigraLabelPlateaus)->Apply(Sizes);

}  // namespace

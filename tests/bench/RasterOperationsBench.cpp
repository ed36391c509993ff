#include "BenchSupport.h"
#include "RasterPictures.h"
#include "operations/Erosion.h"
#include "operations/FloodFill.h"
#include "operations/HoleFilling.h"
#include "operations/IntensityHistogram.h"
#include "operations/Line.h"
#include "operations/Threshold.h"
#include "reference/PlainErosion.h"
#include "reference/PlainFloodFill.h"
#include "reference/PlainHoleFilling.h"
#include "reference/PlainIntensityHistogram.h"
#include "reference/PlainLine.h"
#include "reference/PlainThreshold.h"

namespace {

using korvane_bench::Image;
using Mask = qvox::VoxelImage<bool>;

using korvane_bench::Contours;
using korvane_bench::Labels;
using korvane_bench::Noise;
using korvane_bench::Smooth;
using korvane_bench::Zeros;

std::uint64_t SizeOf(const benchmark::State& state) { return static_cast<std::uint64_t>(state.range(0)); }

template <Image (*MakeImage)(std::uint64_t)>
void Threshold(benchmark::State& state) {
    const Image image = MakeImage(SizeOf(state));
    Mask mask;
    korvane_bench::PerPixel(
        state, image.VoxelCount(), [&] { mask.Release(); }, [&] { qvox::ThresholdToMask(image, mask, 0, 0); });
}

template <Image (*MakeImage)(std::uint64_t)>
void PlainThreshold(benchmark::State& state) {
    const Image image = MakeImage(SizeOf(state));
    korvane_bench::PerPixel(
        state, image.VoxelCount(), [] {},
        [&] { benchmark::DoNotOptimize(korvane_reference::PlainThreshold(image, 0, 0)); });
}

void Erosion(benchmark::State& state) {
    Mask mask;
    qvox::ThresholdToMask(Labels(SizeOf(state)), mask, 0, 0);
    Mask eroded;
    korvane_bench::PerPixel(
        state, mask.VoxelCount(), [&] { eroded.Release(); },
        [&] { qvox::ErodeMask(mask, eroded, static_cast<int>(state.range(1))); });
}

void PlainErosion(benchmark::State& state) {
    Mask mask;
    qvox::ThresholdToMask(Labels(SizeOf(state)), mask, 0, 0);
    korvane_bench::PerPixel(
        state, mask.VoxelCount(), [] {},
        [&] { benchmark::DoNotOptimize(korvane_reference::PlainErosion(mask, state.range(1))); });
}

template <Image (*MakeImage)(std::uint64_t)>
void Histogram(benchmark::State& state) {
    const Image image = MakeImage(SizeOf(state));
    qvox::Histogram histogram;
    korvane_bench::PerPixel(
        state, image.VoxelCount(), [&] { qvox::Histogram().swap(histogram); },
        [&] { qvox::IntensityHistogram(image, histogram); });
}

template <Image (*MakeImage)(std::uint64_t)>
void PlainHistogram(benchmark::State& state) {
    const Image image = MakeImage(SizeOf(state));
    korvane_bench::PerPixel(
        state, image.VoxelCount(), [] {},
        [&] { benchmark::DoNotOptimize(korvane_reference::PlainIntensityHistogram(image)); });
}

template <Image (*MakeImage)(std::uint64_t)>
void FloodFill(benchmark::State& state) {
    const Image image = MakeImage(SizeOf(state));
    Image filled;
    korvane_bench::PerPixel(
        state, image.VoxelCount(), [&] { filled = image; }, [&] { qvox::FloodFillLabel(filled, 40000, 0, 0, 0, {}); });
}

template <Image (*MakeImage)(std::uint64_t)>
void PlainFloodFill(benchmark::State& state) {
    const Image image = MakeImage(SizeOf(state));
    korvane_bench::PerPixel(
        state, image.VoxelCount(), [] {},
        [&] { benchmark::DoNotOptimize(korvane_reference::PlainFloodFill(image, 40000, 0, 0, 0)); });
}

/// Every pixel of the image is written once, by lines from its left to its right side; ns per pixel of line.
void Line(benchmark::State& state) {
    Image image = Zeros(SizeOf(state));
    const std::int64_t size = state.range(0);
    korvane_bench::PerPixel(
        state, image.VoxelCount(), [] {},
        [&] {
            for (std::int64_t y = 0; y < size; ++y) qvox::DrawLine(image, {0, y, 0}, {size - 1, size - 1 - y, 0}, 1);
        });
}

void PlainLine(benchmark::State& state) {
    const Image image = Zeros(SizeOf(state));
    const std::int64_t size = state.range(0);
    korvane_bench::PerPixel(
        state, image.VoxelCount(), [] {},
        [&] {
            for (std::int64_t y = 0; y < size; ++y) {
                benchmark::DoNotOptimize(
                    korvane_reference::PlainLine(image, {0, y, 0}, {size - 1, size - 1 - y, 0}, 1));
            }
        });
}

template <Image (*MakeImage)(std::uint64_t)>
void HoleFilling(benchmark::State& state) {
    const Image image = MakeImage(SizeOf(state));
    Image filled;
    korvane_bench::PerPixel(
        state, image.VoxelCount(), [&] { filled.Release(); }, [&] { qvox::FillHoles(image, filled); });
}

template <Image (*MakeImage)(std::uint64_t)>
void PlainHoleFilling(benchmark::State& state) {
    const Image image = MakeImage(SizeOf(state));
    korvane_bench::PerPixel(
        state, image.VoxelCount(), [] {},
        [&] { benchmark::DoNotOptimize(korvane_reference::PlainHoleFilling(image)); });
}

void Sizes(benchmark::internal::Benchmark* bench) {
    bench->Unit(benchmark::kMillisecond)->MinTime(0.2);
    for (const int size : {512, 1024, 2048, 4096}) bench->Arg(size);
}

void SizesAndRadii(benchmark::internal::Benchmark* bench) {
    bench->Unit(benchmark::kMillisecond)->MinTime(0.2);
    for (const int size : {512, 1024, 2048, 4096}) bench->Args({size, 100});
    bench->Args({2048, 10})->Args({2048, 1000});
}

void Small(benchmark::internal::Benchmark* bench) { bench->Unit(benchmark::kMillisecond)->MinTime(0.05)->Arg(256); }

BENCHMARK_TEMPLATE(Threshold, Labels)->Apply(Sizes);
BENCHMARK_TEMPLATE(PlainThreshold, Labels)->Apply(Small);
BENCHMARK(Erosion)->Apply(SizesAndRadii);
BENCHMARK(PlainErosion)->Unit(benchmark::kMillisecond)->MinTime(0.05)->Args({64, 100});
BENCHMARK_TEMPLATE(Histogram, Labels)->Apply(Sizes);
BENCHMARK_TEMPLATE(Histogram, Smooth)->Apply(Sizes);
BENCHMARK_TEMPLATE(Histogram, Noise)->Apply(Sizes);
BENCHMARK_TEMPLATE(PlainHistogram, Labels)->Apply(Small);
BENCHMARK_TEMPLATE(FloodFill, Zeros)->Apply(Sizes);
BENCHMARK_TEMPLATE(FloodFill, Labels)->Apply(Sizes);
BENCHMARK_TEMPLATE(PlainFloodFill, Labels)->Apply(Small);
BENCHMARK(Line)->Apply(Sizes);
BENCHMARK(PlainLine)->Apply(Small);
BENCHMARK_TEMPLATE(HoleFilling, Contours)->Apply(Sizes);
BENCHMARK_TEMPLATE(HoleFilling, Smooth)->Apply(Sizes);
BENCHMARK_TEMPLATE(HoleFilling, Noise)->Apply(Sizes);
BENCHMARK_TEMPLATE(PlainHoleFilling, Noise)->Apply(Small);

}  // namespace

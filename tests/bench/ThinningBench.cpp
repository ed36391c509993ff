#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <opencv2/core.hpp>

#include "BenchImages.h"
#include "BenchSupport.h"
#include "ClusterSeparation.h"
#include "Thinning.h"

namespace {

using korvane_bench::PerPixel;

/// Half of the picture set: smoothed noise above its mean, framed by a pixel of zeros.
std::vector<Korvane::PixelCode> Blobs(std::size_t size, std::size_t radius) {
    const std::vector<float> noise = korvane_bench::SmoothNoise(size, radius, 5);
    const std::size_t stride = size + 2;
    std::vector<Korvane::PixelCode> codes(stride * stride, 0);
    for (std::size_t y = 0; y < size; ++y) {
        for (std::size_t x = 0; x < size; ++x) {
            codes[(y + 1) * stride + x + 1] =
                noise[y * size + x] > 0.5f ? Korvane::PixelCode{1} : Korvane::PixelCode{0};
        }
    }
    return codes;
}

/// Guo-Hall thinning of a whole picture of blobs; the second argument is the radius of their noise's smoothing.
void ThinningBlobs(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    const std::vector<Korvane::PixelCode> source = Blobs(size, static_cast<std::size_t>(state.range(1)));
    const auto stride = static_cast<std::ptrdiff_t>(size) + 2;
    std::vector<Korvane::PixelCode> codes;
    PerPixel(
        state, size * size, [&] { codes = source; },
        [&] {
            const Korvane::CodePlane plane{codes.data() + stride + 1, stride, static_cast<int>(size),
                                           static_cast<int>(size)};
            std::vector<std::ptrdiff_t> pixels;
            for (int y = 0; y < plane.height; ++y) {
                for (int x = 0; x < plane.width; ++x) {
                    if (plane.At(x, y) != 0) pixels.push_back(y * stride + x);
                }
            }
            Korvane::Thinning().Run(plane, pixels);
        });
}

/// Domes of height 3 over the distances within discs, with the distances themselves and the morphology around them.
void ClusterSeparationDomes(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    const auto places = korvane_bench::DiscPlaces(size, size * size * 350 / (2048 * 2048), 1);
    const qvox::LabelImage discs = korvane_bench::DiscLabels(size, places, 1.0);
    cv::Mat filtered(static_cast<int>(size), static_cast<int>(size), CV_8UC1);
    for (std::size_t i = 0; i < discs.VoxelCount(); ++i) filtered.data[i] = discs[i] != 0 ? 255 : 0;
    PerPixel(
        state, size * size, [] {}, [&] { benchmark::DoNotOptimize(Korvane::SeparateClusters(filtered, 1.0f).data); });
}

void Sizes(benchmark::internal::Benchmark* bench) {
    bench->Unit(benchmark::kMillisecond);
    for (const int size : {512, 1024, 2048, 4096}) bench->Arg(size);
}

void SizesOfBlobs(benchmark::internal::Benchmark* bench) {
    bench->Unit(benchmark::kMillisecond);
    for (const int size : {512, 1024, 2048, 4096}) bench->Args({size, 2})->Args({size, 8});
}

BENCHMARK(ThinningBlobs)->Apply(SizesOfBlobs);
BENCHMARK(ClusterSeparationDomes)->Apply(Sizes);

}  // namespace

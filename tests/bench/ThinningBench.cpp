#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include <opencv2/core.hpp>

#include "BenchImages.h"
#include "BenchSupport.h"
#include "ClusterSeparation.h"
#include "bits/BitPlane.h"
#include "skeleton/IncrementalSkeleton.h"

namespace {

using korvane_bench::PerPixel;

/// Half of the image set: smoothed noise above its mean.
level_sweep::BitPlane Blobs(std::size_t size, std::size_t radius) {
    const std::vector<float> noise = korvane_bench::SmoothNoise(size, radius, 5);
    level_sweep::BitPlane blobs(static_cast<int>(size), static_cast<int>(size));
    for (std::size_t y = 0; y < size; ++y) {
        for (std::size_t x = 0; x < size; ++x) {
            if (noise[y * size + x] > 0.5f) blobs.Add(static_cast<int>(x), static_cast<int>(y));
        }
    }
    return blobs;
}

/// Guo-Hall thinning of a whole image of blobs, from nothing; the second argument is the radius of their noise's
/// smoothing.
void ThinningBlobs(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    const level_sweep::BitPlane blobs = Blobs(size, static_cast<std::size_t>(state.range(1)));
    const auto words = static_cast<std::int32_t>(blobs.Grid().Words());
    std::optional<level_sweep::IncrementalSkeleton> skeleton;
    PerPixel(
        state, size * size, [&] { skeleton.emplace(blobs.Width(), blobs.Height()); },
        [&] {
            for (std::int32_t word = 0; word < words; ++word) {
                if (blobs[word] != 0) skeleton->Add(word, blobs[word]);
            }
            skeleton->Update();
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

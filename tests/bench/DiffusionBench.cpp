#include "operations/Diffusion.h"

#include <random>

#include "BenchSupport.h"
#include "operations/DiffusionWith.h"
#include "reference/PlainDiffusion.h"
#include "support/Random.h"

namespace {

using qvox::InstructionSet;
using qvox::VoxelImage;

constexpr float kContrast = 0.005f;
constexpr float kTimeStep = 0.05f;
constexpr std::uint64_t kIterations = 20;

/// Bright noisy discs on a darker noisy background.
VoxelImage<std::uint16_t> Discs(std::uint64_t size) {
    VoxelImage<std::uint16_t> image;
    image.Resize(size, size, 1);
    std::mt19937 random(1);
    for (std::uint64_t y = 0; y < size; ++y) {
        for (std::uint64_t x = 0; x < size; ++x) {
            const auto dx = static_cast<std::int64_t>(x % 100) - 50;
            const auto dy = static_cast<std::int64_t>(y % 100) - 50;
            image(x, y) = static_cast<std::uint16_t>((dx * dx + dy * dy < 900 ? 42000 : 26000) + korvane_test::UniformInt(random, -4000, 4000));
        }
    }
    return image;
}

template <typename Operation>
void Run(benchmark::State& state, Operation operation) {
    const auto size = static_cast<std::uint64_t>(state.range(0));
    const VoxelImage<std::uint16_t> source = Discs(size);
    VoxelImage<std::uint16_t> image;
    korvane_bench::PerPixel(
        state, size * size, [&] { image = source; }, [&] { operation(image); });
}

void Diffusion(benchmark::State& state) {
    Run(state, [](auto& image) { qvox::EdgeEnhancingDiffusion(image, 5.0f, kContrast, kTimeStep, kIterations); });
}
BENCHMARK(Diffusion)->Arg(512)->Arg(1024)->Arg(2048)->Arg(4096)->Unit(benchmark::kMillisecond);

void DiffusionVariants(benchmark::State& state) {
    const auto variant = static_cast<InstructionSet>(state.range(1));
    if (!qvox::RunsHere(variant)) return state.SkipWithError("this processor lacks the instruction set");
    Run(state, [variant](auto& image) {
        qvox::EdgeEnhancingDiffusionWith(variant, image, 5.0f, kContrast, kTimeStep, kIterations);
    });
}
BENCHMARK(DiffusionVariants)
    ->ArgNames({"size", "variant"})
    ->ArgsProduct({{2048}, {0, 1, 2}})
    ->Unit(benchmark::kMillisecond);

void DiffusionTwiceTheScale(benchmark::State& state) {
    Run(state, [](auto& image) { qvox::EdgeEnhancingDiffusion(image, 10.0f, kContrast, kTimeStep, 2 * kIterations); });
}
BENCHMARK(DiffusionTwiceTheScale)->Arg(2048)->Unit(benchmark::kMillisecond);

/// Four iterations at one sigma, in whole pixels.
void DiffusionOfSigma(benchmark::State& state) {
    const auto sigma = static_cast<float>(state.range(1));
    Run(state, [sigma](auto& image) { qvox::EdgeEnhancingDiffusion(image, sigma, kContrast, kTimeStep, 4); });
}
BENCHMARK(DiffusionOfSigma)
    ->ArgNames({"size", "sigma"})
    ->ArgsProduct({{2048}, {2, 5, 10, 21, 50, 100, 200, 500}})
    ->Unit(benchmark::kMillisecond);

void PlainDiffusion(benchmark::State& state) {
    Run(state, [](auto& image) {
        korvane_reference::PlainEdgeEnhancingDiffusion(image, 5.0f, kContrast, kTimeStep, kIterations);
    });
}
BENCHMARK(PlainDiffusion)->Arg(512)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

#include "operations/GaussianSmoothing.h"

#include <opencv2/imgproc.hpp>

#include "BenchSupport.h"
#include "InstructionSet.h"
#include "operations/GaussianSmoothingWith.h"
#include "operations/WideGaussian.h"
#include "reference/PlainGaussianSmoothing.h"
#include "support/OpenCVThreads.h"

/// The smoothing of detection beside OpenCV's, which means the same but for rounding. Sigma is in tenths of a pixel.
namespace {

using qvox::InstructionSet;

qvox::VoxelImage<float> Waves(std::uint64_t size) {
    qvox::VoxelImage<float> image;
    image.Resize(size, size, 1);
    for (std::uint64_t i = 0; i < image.VoxelCount(); ++i) image[i] = static_cast<float>(i * 2654435761u % 65536);
    return image;
}

template <typename Operation>
void Run(benchmark::State& state, Operation operation) {
    const qvox::VoxelImage<float> source = Waves(static_cast<std::uint64_t>(state.range(0)));
    const double sigma = static_cast<double>(state.range(1)) / 10.0;
    qvox::VoxelImage<float> result(source);
    korvane_bench::PerPixel(
        state, source.VoxelCount(), [] {}, [&] { operation(source, result, sigma); });
}

void OpenCVBlur(const qvox::VoxelImage<float>& source, qvox::VoxelImage<float>& result, double sigma) {
    const auto side = static_cast<int>(source.SizeX());
    const cv::Mat from(side, side, CV_32F, const_cast<float*>(source.begin()));
    cv::Mat to(side, side, CV_32F, result.begin());
    cv::GaussianBlur(from, to, cv::Size(-1, -1), sigma, sigma, cv::BORDER_REFLECT_101);
}

void GaussianSmoothing(benchmark::State& state) {
    const int before = cv::getNumThreads();
    Korvane::SetOpenCVThreads(static_cast<int>(state.range(2)));
    Run(state, [](const auto& source, auto& result, double sigma) {
        qvox::SmoothWithGaussian(source, result, sigma, Korvane::RunOnOpenCVThreads);
    });
    Korvane::SetOpenCVThreads(before);
}

void OpenCVGaussianBlur(benchmark::State& state) {
    const int before = cv::getNumThreads();
    Korvane::SetOpenCVThreads(static_cast<int>(state.range(2)));
    Run(state, OpenCVBlur);
    Korvane::SetOpenCVThreads(before);
}

void GaussianSmoothingVariants(benchmark::State& state) {
    const auto variant = static_cast<InstructionSet>(state.range(2));
    if (!qvox::RunsHere(variant)) return state.SkipWithError("this processor lacks the instruction set");
    Run(state, [variant](const auto& source, auto& result, double sigma) {
        qvox::SmoothWithGaussianWith(variant, source, result, sigma);
    });
}

/// The Gaussian of the diffusion, sigma in whole pixels: tables made once, as there, then one plane after the other.
void WideGaussianAlone(benchmark::State& state) {
    const auto variant = static_cast<InstructionSet>(state.range(2));
    if (!qvox::RunsHere(variant)) return state.SkipWithError("this processor lacks the instruction set");
    const qvox::VoxelImage<float> source = Waves(static_cast<std::uint64_t>(state.range(0)));
    qvox::VoxelImage<float> result(source);
    const auto side = static_cast<std::ptrdiff_t>(source.SizeX());
    qvox::WideGaussian gaussian({side, side, side}, static_cast<double>(state.range(1)), variant);
    qvox::WideGaussianRows rows(gaussian, 0, side);
    constexpr std::ptrdiff_t kRows = 16;
    korvane_bench::PerPixel(
        state, source.VoxelCount(), [] {},
        [&] {
            gaussian.Prepare(source.begin(), qvox::RunOneByOne);
            rows.Begin();
            for (std::ptrdiff_t y = 0; y < side; y += kRows) {
                float* out[kRows];
                for (std::ptrdiff_t i = 0; i < kRows; ++i) out[i] = result.Row(static_cast<std::uint64_t>(y + i));
                rows.Make(y, kRows, out);
            }
        });
}

/// The direct sum at the same sigmas.
void DirectGaussian(benchmark::State& state) {
    const auto variant = static_cast<InstructionSet>(state.range(2));
    if (!qvox::RunsHere(variant)) return state.SkipWithError("this processor lacks the instruction set");
    const qvox::VoxelImage<float> source = Waves(static_cast<std::uint64_t>(state.range(0)));
    qvox::VoxelImage<float> result(source);
    korvane_bench::PerPixel(
        state, source.VoxelCount(), [] {},
        [&] { qvox::SmoothWithGaussianWith(variant, source, result, static_cast<double>(state.range(1))); });
}

void PlainGaussianSmoothing(benchmark::State& state) { Run(state, korvane_reference::PlainSmoothWithGaussian); }

void Shapes(benchmark::internal::Benchmark* bench) {
    bench->ArgNames({"size", "sigma10", "threads"})->Unit(benchmark::kMillisecond)->UseRealTime();
    bench->ArgsProduct({{512, 2048}, {5, 15, 30, 100, 300}, {1, 2}});
}

BENCHMARK(GaussianSmoothing)->Apply(Shapes);
BENCHMARK(OpenCVGaussianBlur)->Apply(Shapes);
BENCHMARK(GaussianSmoothingVariants)
    ->ArgNames({"size", "sigma10", "variant"})
    ->ArgsProduct({{2048}, {15, 30, 100}, {0, 1, 2}})
    ->Unit(benchmark::kMillisecond);
void Sigmas(benchmark::internal::Benchmark* bench, const std::vector<std::int64_t>& sigmas) {
    bench->ArgNames({"size", "sigma", "variant"})->Unit(benchmark::kMillisecond);
    bench->ArgsProduct({{2048}, sigmas, {0, 1, 2}});
}
BENCHMARK(WideGaussianAlone)->Apply([](auto* bench) { Sigmas(bench, {3, 4, 5, 7, 10, 21, 50, 100, 200, 500}); });
BENCHMARK(DirectGaussian)->Apply([](auto* bench) { Sigmas(bench, {2, 3, 4, 5, 7, 10, 21, 50, 200}); });
BENCHMARK(PlainGaussianSmoothing)->ArgNames({"size", "sigma10"})->Args({512, 15})->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

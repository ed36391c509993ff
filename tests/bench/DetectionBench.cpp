#include <cstdint>

#include "BenchSupport.h"
#include "CandidateDetection.h"
#include "CandidateFilter.h"
#include "ClusterSeparation.h"
#include "DetectionDriver.h"
#include "support/GradientMagnitude.h"
#include "reference/PlainCandidateFilter.h"
#include "reference/PlainClusterSeparation.h"
#include "reference/PlainDetection.h"
#include "reference/PlainGradientMagnitude.h"
#include "support/Phantoms.h"

// Argument 0 is the side in pixels, argument 1 the picture: 0 vesicles, 1 noise.
namespace {

using korvane_bench::PerPixel;

constexpr float kResolution = 672.0f;

cv::Mat RawPicture(const benchmark::State& state) {
    const auto side = static_cast<int>(state.range(0));
    if (state.range(1) == 1) return korvane_test::SmoothNoise(7, side, side, 3.0);
    korvane_test::VesicleOptions options;
    options.count = side * side / 12000;
    return korvane_test::Vesicles(7, side, side, options);
}

std::uint64_t Pixels(const benchmark::State& state) {
    return static_cast<std::uint64_t>(state.range(0)) * static_cast<std::uint64_t>(state.range(0));
}

/// The candidate mask that the smoothed picture's own level set gives: as many regions as a detection would see.
cv::Mat Mask(const benchmark::State& state) {
    cv::Mat smoothed;
    cv::GaussianBlur(RawPicture(state), smoothed, cv::Size(-1, -1), 4.0);
    return korvane_test::Above(smoothed, static_cast<float>(cv::mean(smoothed)[0]) + 0.03f);
}

template <cv::Mat (*Gradient)(const cv::Mat&)>
void BM_Gradient(benchmark::State& state) {
    const cv::Mat raw = RawPicture(state);
    cv::Mat result;
    PerPixel(
        state, Pixels(state), [&] { result.release(); }, [&] { result = Gradient(raw); });
}

template <void (*Filter)(const cv::Mat&, cv::Mat&, float, float)>
void BM_CandidateFilter(benchmark::State& state) {
    const cv::Mat mask = Mask(state);
    cv::Mat filtered;
    PerPixel(
        state, Pixels(state), [&] { filtered = cv::Mat::zeros(mask.size(), CV_8UC1); },
        [&] { Filter(mask, filtered, 1.0f, 0.15f); });
}

template <cv::Mat (*Separate)(const cv::Mat&, float)>
void BM_ClusterSeparation(benchmark::State& state) {
    cv::Mat filtered;
    Mask(state).convertTo(filtered, CV_8UC1, 255.0);
    cv::Mat blobs;
    PerPixel(
        state, Pixels(state), [&] { blobs.release(); }, [&] { blobs = Separate(filtered, 1.0f); });
}

using Detect = void(const qvox::VoxelImage<float>&, qvox::LabelImage&, const Korvane::AnalysisParameters&, float,
                    Korvane::DetectionObserver&);

template <Detect* Run>
void BM_Detection(benchmark::State& state) {
    const qvox::VoxelImage<float> raw = korvane_test::ToImage(RawPicture(state));
    Korvane::AnalysisParameters parameters;
    if (state.range(2) == 0) parameters.roundnessThreshold = 0.0f;
    Korvane::DetectionObserver observer;
    qvox::LabelImage labels({}, {kResolution, kResolution, 0.0f});
    PerPixel(
        state, Pixels(state), [&] { labels.Release(); }, [&] { Run(raw, labels, parameters, kResolution, observer); });
}

// On one thread, as the plain forms.
void FilterOnOne(const cv::Mat& mask, cv::Mat& filtered, float scale, float areaFraction) {
    Korvane::FilterCandidates(mask, filtered, scale, areaFraction);
}
cv::Mat SeparateOnOne(const cv::Mat& filtered, float scale) { return Korvane::SeparateClusters(filtered, scale); }
void DetectOnOne(const qvox::VoxelImage<float>& raw, qvox::LabelImage& labels,
                 const Korvane::AnalysisParameters& parameters, float xResolution,
                 Korvane::DetectionObserver& observer) {
    Korvane::DetectExosomes(raw, labels, parameters, xResolution, observer, qvox::RunOneByOne);
}

void Sizes(benchmark::internal::Benchmark* bench) {
    bench->ArgNames({"side", "noise"})->ArgsProduct({{512, 1024, 2048}, {0, 1}})->Unit(benchmark::kMillisecond);
}
void SmallOnly(benchmark::internal::Benchmark* bench) {
    bench->ArgNames({"side", "noise"})->ArgsProduct({{512}, {0, 1}})->Unit(benchmark::kMillisecond)->Iterations(1);
}

BENCHMARK(BM_Gradient<Korvane::GradientMagnitude>)->Name("Gradient")->Apply(Sizes);
BENCHMARK(BM_Gradient<korvane_reference::PlainGradientMagnitude>)->Name("PlainGradient")->Apply(SmallOnly);
BENCHMARK(BM_CandidateFilter<FilterOnOne>)->Name("CandidateFilter")->Apply(Sizes);
BENCHMARK(BM_CandidateFilter<korvane_reference::PlainFilterCandidates>)->Name("PlainCandidateFilter")->Apply(SmallOnly);
BENCHMARK(BM_ClusterSeparation<SeparateOnOne>)->Name("ClusterSeparation")->Apply(Sizes);
BENCHMARK(BM_ClusterSeparation<korvane_reference::PlainSeparateClusters>)
    ->Name("PlainClusterSeparation")
    ->Apply(SmallOnly);
BENCHMARK(BM_Detection<DetectOnOne>)
    ->Name("Detection")
    ->ArgNames({"side", "noise", "refined"})
    ->ArgsProduct({{512, 1024, 2048}, {0, 1}, {0, 1}})
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);

}  // namespace

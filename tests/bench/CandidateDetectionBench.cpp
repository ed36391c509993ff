#include "CandidateDetection.h"

#include "bench/BenchSupport.h"
#include "support/EdgeMaps.h"

namespace {

using korvane_test::DiscPicture;

cv::Mat Vesicles(int size) {
    return korvane_test::EdgeMapOf(korvane_test::PictureOfDiscs(size, size, DiscPicture{}, 7));
}

cv::Mat DenseVesicles(int size) {
    DiscPicture look;
    look.discsPerMegapixel = 400.0;
    return korvane_test::EdgeMapOf(korvane_test::PictureOfDiscs(size, size, look, 7));
}

cv::Mat CrowdedTexture(int size) {
    const DiscPicture look{6000.0, 4.0, 9.0, 0.1, 1.5};
    return korvane_test::EdgeMapOf(korvane_test::PictureOfDiscs(size, size, look, 7));
}

cv::Mat Noise(int size) { return korvane_test::EdgeMapOf(korvane_test::NoisePicture(size, size, 1.5, 7)); }

void DetectIn(benchmark::State& state, cv::Mat (*picture)(int)) {
    const int size = static_cast<int>(state.range(0));
    const cv::Mat edges = picture(size);
    cv::Mat candidates;
    Korvane::DetectionObserver observer;
    korvane_bench::PerPixel(
        state, edges.total(), [&] { candidates = cv::Mat::zeros(edges.size(), CV_32F); },
        [&] { Korvane::DetectCandidates(edges, candidates, 1.0f, 1.0f, observer); });
}

void Sizes(benchmark::internal::Benchmark* bench) {
    bench->RangeMultiplier(2)->Range(512, 8192)->Unit(benchmark::kMillisecond)->MinTime(0.2);
}

BENCHMARK_CAPTURE(DetectIn, vesicles, Vesicles)->Name("CandidateDetection/vesicles")->Apply(Sizes);
BENCHMARK_CAPTURE(DetectIn, denseVesicles, DenseVesicles)->Name("CandidateDetection/denseVesicles")->Apply(Sizes);
BENCHMARK_CAPTURE(DetectIn, crowdedTexture, CrowdedTexture)->Name("CandidateDetection/crowdedTexture")->Apply(Sizes);
BENCHMARK_CAPTURE(DetectIn, noise, Noise)->Name("CandidateDetection/noise")->Apply(Sizes);

}  // namespace

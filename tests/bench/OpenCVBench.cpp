#include <opencv2/imgproc.hpp>

#include "BenchSupport.h"
#include "RasterPictures.h"
#include "operations/Threshold.h"

/// OpenCV's operations that mean the same as ours, or come near, on the same pictures and on one thread.
namespace {

using korvane_bench::Image;
using korvane_bench::PerPixel;

std::uint64_t SizeOf(const benchmark::State& state) { return static_cast<std::uint64_t>(state.range(0)); }

cv::Mat ViewOf(Image& image) {
    return {static_cast<int>(image.SizeY()), static_cast<int>(image.SizeX()), CV_16UC1, image.begin()};
}

/// Erosion by a disc: distances to the nearest unset pixel, exact, and a threshold.
void OpenCVErosion(benchmark::State& state) {
    cv::setNumThreads(1);
    Image labels = korvane_bench::Labels(SizeOf(state));
    cv::Mat mask = ViewOf(labels) != 0;
    cv::Mat distance;
    cv::Mat eroded;
    PerPixel(
        state, labels.VoxelCount(),
        [&] {
            distance.release();
            eroded.release();
        },
        [&] {
            cv::distanceTransform(mask, distance, cv::DIST_L2, cv::DIST_MASK_PRECISE);
            cv::compare(distance, static_cast<double>(state.range(1)), eroded, cv::CMP_GT);
        });
}

/// The 65536 bins of ours.
template <Image (*MakeImage)(std::uint64_t)>
void OpenCVHistogram(benchmark::State& state) {
    cv::setNumThreads(1);
    Image image = MakeImage(SizeOf(state));
    const cv::Mat view = ViewOf(image);
    cv::Mat histogram;
    const int channel = 0;
    const int bins = 65536;
    const float range[] = {0.0f, 65536.0f};
    const float* ranges = range;
    PerPixel(
        state, image.VoxelCount(), [&] { histogram.release(); },
        [&] { cv::calcHist(&view, 1, &channel, cv::Mat(), histogram, 1, &bins, &ranges); });
}

/// OpenCV fills 8-bit and float pictures, not 16-bit ones; `Type` is one of those.
template <Image (*MakeImage)(std::uint64_t), int Type>
void OpenCVFloodFill(benchmark::State& state) {
    cv::setNumThreads(1);
    Image image = MakeImage(SizeOf(state));
    cv::Mat source;
    ViewOf(image).convertTo(source, Type);
    cv::Mat filled;
    PerPixel(
        state, image.VoxelCount(), [&] { filled = source.clone(); },
        [&] {
            cv::floodFill(filled, {0, 0}, cv::Scalar(200), nullptr, cv::Scalar(), cv::Scalar(), 8);
        });
}

void Sizes(benchmark::internal::Benchmark* bench) {
    bench->Unit(benchmark::kMillisecond)->MinTime(0.2);
    for (const int size : {512, 1024, 2048, 4096}) bench->Arg(size);
}

void SizesAndRadius(benchmark::internal::Benchmark* bench) {
    bench->Unit(benchmark::kMillisecond)->MinTime(0.2);
    for (const int size : {512, 1024, 2048, 4096}) bench->Args({size, 100});
}

BENCHMARK(OpenCVErosion)->Apply(SizesAndRadius);
BENCHMARK_TEMPLATE(OpenCVHistogram, korvane_bench::Labels)->Apply(Sizes);
BENCHMARK_TEMPLATE(OpenCVHistogram, korvane_bench::Noise)->Apply(Sizes);
BENCHMARK_TEMPLATE(OpenCVFloodFill, korvane_bench::Zeros, CV_8UC1)->Apply(Sizes);
BENCHMARK_TEMPLATE(OpenCVFloodFill, korvane_bench::Zeros, CV_32FC1)->Apply(Sizes);

}  // namespace

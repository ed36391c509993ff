#include "LabelPainter.h"

#include "BenchSupport.h"
#include "reference/PlainLabelPainter.h"

namespace {

using namespace Korvane;

/// Discs of 24 pixels in a grid of 64, over a ramp.
struct Scene {
    explicit Scene(std::uint64_t size) {
        raw.Resize(size, size, 1);
        labels.Resize(size, size, 1);
        for (std::uint64_t y = 0; y < size; ++y) {
            for (std::uint64_t x = 0; x < size; ++x) {
                const auto dx = static_cast<double>(x % 64) - 32.0;
                const auto dy = static_cast<double>(y % 64) - 32.0;
                const std::uint64_t cell = y / 64 * (size / 64) + x / 64 + 1;
                labels(x, y) = dx * dx + dy * dy < 576.0 ? static_cast<std::uint16_t>(cell) : std::uint16_t{0};
                raw(x, y) = static_cast<float>(x + y);
            }
        }
        ConvertToGrey(raw, grey);
    }
    qvox::VoxelImage<float> raw;
    qvox::LabelImage labels;
    GreyPicture grey;
};

void PaintBench(benchmark::State& state, LabelStyle style) {
    const Scene scene(static_cast<std::uint64_t>(state.range(0)));
    ColourPicture picture;
    korvane_bench::PerPixel(
        state, scene.raw.VoxelCount(), [] {},
        [&] { PaintLabels(scene.grey, scene.labels, style, WholeImage(scene.labels), picture); });
}

void PlainPaintBench(benchmark::State& state, LabelStyle style) {
    const Scene scene(static_cast<std::uint64_t>(state.range(0)));
    ColourPicture picture;
    picture.Resize(scene.raw.SizeX(), scene.raw.SizeY(), 1);
    korvane_bench::PerPixel(
        state, scene.raw.VoxelCount(), [] {},
        [&] {
            for (std::uint64_t y = 0; y < picture.SizeY(); ++y) {
                for (std::uint64_t x = 0; x < picture.SizeX(); ++x) {
                    picture(x, y) = korvane_reference::PlainColour(scene.grey(x, y), scene.labels, x, y, style);
                }
            }
        });
}

void GreyBench(benchmark::State& state) {
    const Scene scene(static_cast<std::uint64_t>(state.range(0)));
    GreyPicture grey;
    korvane_bench::PerPixel(
        state, scene.raw.VoxelCount(), [] {}, [&] { ConvertToGrey(scene.raw, grey); });
}

void AnchorsBench(benchmark::State& state) {
    const Scene scene(static_cast<std::uint64_t>(state.range(0)));
    korvane_bench::PerPixel(
        state, scene.raw.VoxelCount(), [] {}, [&] { benchmark::DoNotOptimize(LabelAnchors(scene.labels)); });
}

BENCHMARK(GreyBench)->Name("view/grey")->Arg(512)->Arg(2048);
BENCHMARK_CAPTURE(PaintBench, raw, LabelStyle::kNone)->Name("view/paint raw")->Arg(512)->Arg(2048);
BENCHMARK_CAPTURE(PaintBench, regions, LabelStyle::kRegions)->Name("view/paint regions")->Arg(512)->Arg(2048);
BENCHMARK_CAPTURE(PaintBench, contours, LabelStyle::kContours)->Name("view/paint contours")->Arg(512)->Arg(2048);
BENCHMARK_CAPTURE(PlainPaintBench, plain, LabelStyle::kContours)->Name("view/paint contours, plain form")->Arg(512);
BENCHMARK(AnchorsBench)->Name("view/anchors")->Arg(512)->Arg(2048);

}  // namespace

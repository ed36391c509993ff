#include "operations/Shape.h"

#include "BenchImages.h"
#include "BenchSupport.h"
#include "operations/Labelling.h"

namespace {

using korvane_bench::PerPixel;

qvox::ComponentImage Discs(std::size_t size) {
    qvox::ComponentImage components;
    qvox::LabelForegroundRegions(components,
                                 korvane_bench::DiscLabels(size, korvane_bench::DiscPlaces(size, 500, 1), 1.0),
                                 qvox::Neighbourhood8{});
    return components;
}

void ShapesOfAll(benchmark::State& state) {
    const qvox::ComponentImage components = Discs(static_cast<std::size_t>(state.range(0)));
    PerPixel(
        state, components.Identifiers().VoxelCount(), [] {},
        [&] { benchmark::DoNotOptimize(qvox::EstimateShapes(components)); });
}

void ShapesOneByOne(benchmark::State& state) {
    const qvox::ComponentImage components = Discs(static_cast<std::size_t>(state.range(0)));
    PerPixel(
        state, components.Identifiers().VoxelCount(), [] {},
        [&] {
            for (const qvox::ComponentRecord& record : components.Components()) {
                benchmark::DoNotOptimize(
                    qvox::EstimateShape(components, record.identifier, qvox::ShapeMeasure::kPerimeter));
                benchmark::DoNotOptimize(qvox::EstimateShape(components, record.identifier, qvox::ShapeMeasure::kArea));
            }
        });
}

void Sizes(benchmark::internal::Benchmark* benchmark) {
    for (const int size : {512, 1024, 2048, 4096}) benchmark->Arg(size);
    benchmark->Unit(benchmark::kMillisecond);
}

BENCHMARK(ShapesOfAll)->Apply(Sizes);
BENCHMARK(ShapesOneByOne)->Apply(Sizes);

}  // namespace

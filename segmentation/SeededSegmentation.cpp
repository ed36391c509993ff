#include "SeededSegmentation.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "ComponentImage.h"
#include "NominalSizes.h"
#include "operations/Labelling.h"
#include "operations/Shape.h"
#include "support/InputChecks.h"
#include "support/MarkerGrowth.h"

namespace Korvane {
namespace {

/// The foreground's connected parts, whatever their labels are.
qvox::ComponentImage JoinedObjects(const qvox::LabelImage& labels, const qvox::PartRunner& run) {
    qvox::LabelImage foreground;
    foreground.CopyPropertiesFrom(labels);
    foreground.Resize(labels.SizeX(), labels.SizeY(), 1);
    qvox::RunRows(labels.SizeY(), run, [&](const qvox::PartRange& rows) {
        std::transform(labels.Row(rows.first), labels.Row(rows.end - 1) + labels.SizeX(), foreground.Row(rows.first),
                       [](std::uint16_t label) { return static_cast<std::uint16_t>(label != 0); });
    });
    qvox::ComponentImage components;
    qvox::LabelForegroundRegions(components, foreground, qvox::Neighbourhood8{});
    return components;
}

void RemoveSmallObjects(qvox::LabelImage& labels, float minObjectDiameterUm, const qvox::PartRunner& run) {
    const qvox::ComponentImage components = JoinedObjects(labels, run);
    std::vector<std::uint8_t> kept(65536, 0);
    for (const qvox::ComponentRecord& component : components.Components()) {
        const double areaUm2 = qvox::EstimateShape(components, component.identifier, qvox::ShapeMeasure::kArea);
        const double diameterUm = qvox::EquivalentDiameter(areaUm2);
        kept[component.identifier] = !(static_cast<double>(minObjectDiameterUm) > diameterUm);
    }
    qvox::RunRows(labels.SizeY(), run, [&](const qvox::PartRange& rows) {
        for (std::uint64_t y = rows.first; y < rows.end; ++y) {
            const std::uint16_t* component = components.Identifiers().Row(y);
            std::uint16_t* row = labels.Row(y);
            for (std::uint64_t x = 0; x < labels.SizeX(); ++x) {
                if (kept[component[x]] == 0) row[x] = 0;
            }
        }
    });
}

}  // namespace

void SegmentFromSeeds(const qvox::VoxelImage<float>& raw, qvox::LabelImage& labels, float xResolution,
                      float minObjectDiameterUm, const qvox::PartRunner& run) {
    const std::string operation = "Seeded segmentation";
    CheckSinglePlane(operation, raw);
    if (!raw.SameSizes(labels)) {
        throw qvox::ToolkitError(operation + ": the image has " + std::to_string(raw.SizeX()) + " x " +
                                 std::to_string(raw.SizeY()) + " pixels, the labels have " +
                                 std::to_string(labels.SizeX()) + " x " + std::to_string(labels.SizeY()) + ".");
    }
    const float scale = CheckedResolutionScale(operation, xResolution);
    WithOpenCvMemoryErrors([&] {
        {
            const qvox::VoxelImage<float> relief = SmoothedGradient(raw, static_cast<double>(scale) * kReliefSigmaPx, run);
            const qvox::LabelImage markers =
                AddBackgroundMarker(labels, static_cast<int>(scale * kBackgroundDistancePx), run);
            GrowMarkers(relief, markers, labels, run);
        }
        RemoveSmallObjects(labels, minObjectDiameterUm, run);
    });
}

}  // namespace Korvane

#include "Refinement.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "NominalSizes.h"
#include "operations/Labelling.h"
#include "operations/Shape.h"
#include "support/MarkerGrowth.h"

namespace Korvane {

qvox::VoxelImage<float> RefinementRelief(const qvox::VoxelImage<float>& raw, float scale, const qvox::PartRunner& run) {
    return SmoothedGradient(raw, kReliefSigmaPx * static_cast<double>(scale), run);
}

qvox::LabelImage RefinementMarkers(const qvox::LabelImage& labels, float scale, const qvox::PartRunner& run) {
    const double distance = static_cast<double>(kBackgroundDistancePx) * static_cast<double>(scale);
    return AddBackgroundMarker(labels, static_cast<int>(distance), run);
}

bool IsRoundEnough(double roundness, float threshold) { return !(static_cast<double>(threshold) > roundness); }

void RemoveUnroundComponents(qvox::ComponentImage& components, float roundnessThreshold) {
    std::vector<std::uint16_t> removed;
    for (const qvox::ComponentRecord& component : components.Components()) {
        const double perimeter = qvox::EstimateShape(components, component.identifier, qvox::ShapeMeasure::kPerimeter);
        const double area = qvox::EstimateShape(components, component.identifier, qvox::ShapeMeasure::kArea);
        if (!IsRoundEnough(qvox::Roundness(area, perimeter), roundnessThreshold)) {
            removed.push_back(component.identifier);
        }
    }
    // From the last on: each removal then moves only the records behind it that stay.
    for (auto identifier = removed.rbegin(); identifier != removed.rend(); ++identifier) {
        qvox::RemoveLabel(components, *identifier);
    }
}

void RemoveUnroundObjects(qvox::LabelImage& labels, float roundnessThreshold, const qvox::PartRunner& run) {
    qvox::ComponentImage objects;
    qvox::LabelForegroundRegions(objects, labels, qvox::Neighbourhood8{});
    RemoveUnroundComponents(objects, roundnessThreshold);
    CopyLabels(objects.Identifiers(), labels, run);
}

}  // namespace Korvane

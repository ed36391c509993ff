#include "RoundnessFilter.h"

#include <cstdint>
#include <vector>

#include "operations/Labelling.h"
#include "operations/Shape.h"

namespace Korvane {

bool IsRoundEnough(double roundness, float threshold) { return !(static_cast<double>(threshold) > roundness); }

void RemoveUnroundComponents(qvox::ComponentImage& components, float roundnessThreshold) {
    std::vector<std::uint16_t> removed;
    for (const qvox::ComponentRecord& component : components.Components()) {
        const double perimeter = qvox::EstimateShape(components, component.identifier, qvox::ShapeMeasure::kPerimeter);
        const double area = qvox::EstimateShape(components, component.identifier, qvox::ShapeMeasure::kArea);
        if (!IsRoundEnough(qvox::Roundness(area, perimeter), roundnessThreshold))
            removed.push_back(component.identifier);
    }
    // From the last on: each removal then moves only the records behind it that stay.
    for (auto identifier = removed.rbegin(); identifier != removed.rend(); ++identifier) {
        qvox::RemoveLabel(components, *identifier);
    }
}

}  // namespace Korvane

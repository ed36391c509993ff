#include "MeasuredObject.h"

#include "ComponentImage.h"
#include "operations/Labelling.h"
#include "operations/Shape.h"

namespace Korvane {

std::vector<MeasuredObject> MeasureObjects(const qvox::LabelImage& labels) {
    std::vector<MeasuredObject> objects;
    if (labels.Empty()) return objects;
    qvox::ComponentImage components;
    qvox::LabelForegroundRegions(components, labels, qvox::Neighbourhood8());
    objects.reserve(components.Components().size());
    for (const qvox::ShapeEstimate& shape : qvox::EstimateShapes(components)) {
        MeasuredObject object;
        object.label = components.Find(shape.identifier)->sourceValue;
        object.perimeterNm = shape.perimeterUm * 1000.0;
        object.areaNm2 = shape.areaUm2 * 1000000.0;
        objects.push_back(object);
    }
    return objects;
}

}  // namespace Korvane

#include "RimLines.h"

#include <array>
#include <cmath>
#include <vector>

#include "operations/Line.h"

namespace Korvane {

qvox::LabelImage RimLines(const Position& position, const EdgeProfileOptions& profiles) {
    const qvox::LabelImage& labels = position.labels;
    const std::vector<LabelExtent> extents = LabelExtents(labels);
    const std::vector<EdgeMeasurement> edges = MeasureEdges(position.image, labels, extents, profiles);
    qvox::LabelImage lines;
    lines.Resize(labels.SizeX(), labels.SizeY(), labels.SizeZ());
    lines.Zero();
    lines.SetResolution(labels.Resolution());
    const auto pixelAt = [](const CurvePoint& point) {
        return std::array<std::int64_t, 3>{static_cast<std::int64_t>(std::floor(point.x + 0.5)),
                                           static_cast<std::int64_t>(std::floor(point.y + 0.5)), 0};
    };
    for (std::size_t i = 0; i < edges.size(); ++i) {
        const ClosedCurve& rim = edges[i].rimCurve;
        for (std::size_t k = 0; k < rim.size(); ++k) {
            qvox::DrawLine(lines, pixelAt(rim[k]), pixelAt(rim[(k + 1) % rim.size()]), extents[i].label);
        }
    }
    return lines;
}

}  // namespace Korvane

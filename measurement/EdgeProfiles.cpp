#include "EdgeProfiles.h"

#include <cmath>

#include "FlankPath.h"
#include "PixelScale.h"
#include "ProfileSampling.h"
#include "ToolkitError.h"

namespace Korvane {

namespace {

constexpr double kPi = 3.141592653589793;
// A circle's diameter over that of the disc of the area of its inscribed polygon of 64 corners.
constexpr double kPolygonFactor = 1.0008037;
constexpr int kLeastMeasured = static_cast<int>(kLeastMeasuredShare * kProfileDirections);

ClosedCurve CurveAt(const ProfileSet& profiles, const FlankPath& flank, double offset) {
    ClosedCurve curve(kProfileDirections);
    for (std::size_t i = 0; i < kProfileDirections; ++i) {
        const double place = flank.place[i] + offset;
        curve[i] = {profiles.outline[i].x + place * profiles.normals[i].x,
                    profiles.outline[i].y + place * profiles.normals[i].y};
    }
    return curve;
}

double Diameter(const ClosedCurve& curve) {
    return kPolygonFactor * std::sqrt(4.0 / kPi * std::fabs(SignedArea(curve)));
}

/// Of the measured corners' distances from the mean corner.
double DistanceDeviation(const ClosedCurve& curve, const FlankPath& flank) {
    const CurvePoint centre = MeanCorner(curve);
    std::vector<double> distances;
    double mean = 0.0;
    for (std::size_t i = 0; i < curve.size(); ++i) {
        if (!flank.isMeasured[i]) continue;
        const double dx = curve[i].x - centre.x;
        const double dy = curve[i].y - centre.y;
        distances.push_back(std::sqrt(dx * dx + dy * dy));
        mean += distances.back();
    }
    mean /= static_cast<double>(distances.size());
    double squares = 0.0;
    for (const double distance : distances) squares += (distance - mean) * (distance - mean);
    return std::sqrt(squares / static_cast<double>(distances.size() - 1));
}

ClosedCurve InPixels(ClosedCurve curve, const PixelScale& scale) {
    const double unit = scale.UnitNm();
    for (CurvePoint& point : curve) point = {point.x * unit / scale.widthNm, point.y * unit / scale.heightNm};
    return curve;
}

EdgeMeasurement MeasureEdge(const qvox::VoxelImage<float>& image, const qvox::LabelImage& labels,
                            const LabelExtent& extent, const EdgeProfileOptions& options) {
    EdgeMeasurement edge;
    const ProfileSet profiles = SampleProfiles(image, labels, options.excluded, extent, options.part);
    if (profiles.length == 0) return edge;
    const FlankPath flank = FindInnerFlank(profiles);
    edge.measuredShare = static_cast<double>(flank.measured) / kProfileDirections;
    if (flank.measured < kLeastMeasured) return edge;
    const RimEstimate rim = EstimateRim(profiles, flank);
    if (rim.kind == RimKind::kNone) return edge;
    const PixelScale scale = ScaleOf(labels.Resolution());
    const double unit = scale.UnitNm();
    const ClosedCurve edgeCurve = CurveAt(profiles, flank, rim.flank);
    const ClosedCurve rimCurve = CurveAt(profiles, flank, rim.rim);
    edge.kind = rim.kind;
    edge.edgeDiameterNm = Diameter(edgeCurve) * unit;
    edge.rimDiameterNm = Diameter(rimCurve) * unit;
    edge.rimSdNm = DistanceDeviation(rimCurve, flank) * unit;
    edge.flankWidthNm = rim.width * unit;
    edge.contrast = rim.top - rim.inner;
    edge.background = rim.background;
    edge.edgeCurve = InPixels(edgeCurve, scale);
    edge.rimCurve = InPixels(rimCurve, scale);
    return edge;
}

}  // namespace

std::vector<EdgeMeasurement> MeasureEdges(const qvox::VoxelImage<float>& image, const qvox::LabelImage& labels,
                                          const std::vector<LabelExtent>& extents, const EdgeProfileOptions& options) {
    if (!image.SameSizes(labels) || (options.excluded != nullptr && !options.excluded->SameSizes(labels))) {
        throw qvox::ToolkitError("MeasureEdges: image, labels and excluded pixels differ in size.");
    }
    if (labels.SizeZ() > 1) throw qvox::ToolkitError("MeasureEdges: the image has more than one plane.");
    std::vector<EdgeMeasurement> edges;
    edges.reserve(extents.size());
    for (const LabelExtent& extent : extents) {
        if (options.beforeEachObject) options.beforeEachObject();
        edges.push_back(MeasureEdge(image, labels, extent, options));
    }
    return edges;
}

}  // namespace Korvane

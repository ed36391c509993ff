#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "ClosedCurve.h"
#include "LabelExtents.h"
#include "RimRule.h"
#include "VoxelImage.h"

namespace Korvane {

/// Where an object's edge lies in the image, found on profiles along the normals of its label's outline.
struct EdgeMeasurement {
    RimKind kind = RimKind::kNone;
    double measuredShare = 0.0;  ///< of the directions, 0 to 1
    // All empty below kLeastMeasuredShare.
    std::optional<double> edgeDiameterNm;  ///< of the disc of the area inside the flank's steepest places
    std::optional<double> rimDiameterNm;   ///< of the disc of the area inside the rim's middle, or the plain edge
    std::optional<double> rimSdNm;         ///< standard deviation of the rim's distance from its centre
    std::optional<double> flankWidthNm;    ///< height of the flank over its steepest slope
    std::optional<double> contrast;        ///< grey level of the rim (plain edge: of the background) less the inside's
    std::optional<double> background;      ///< grey level outside the rim
    ClosedCurve edgeCurve;                 ///< in pixels of the image; empty where the diameters are
    ClosedCurve rimCurve;
};

/// Of the directions; below it an object is not measured.
constexpr double kLeastMeasuredShare = 0.5;

/// What profiles may look at, and for how long.
struct EdgeProfileOptions {
    const qvox::VoxelImage<std::uint8_t>* excluded = nullptr;  ///< pixels other than 0 end a profile; null: none
    std::optional<ImagePart> part = std::nullopt;              ///< beyond it is nothing, as beyond the image; none: all
    std::function<void()> beforeEachObject = nullptr;          ///< what it throws ends the measuring; null: nothing
};

/// The edges of the labels in `extents`, in their order. Profiles in 64 directions, from 0.45 radii inside the label's
/// outline to 0.7 radii (at least 12 pixels) outside, end at other labels, at the edge of the image or its part, at NaN
/// and at excluded pixels. Of a label with several pieces the largest is measured. Lengths respect pixels that are not
/// square. The rule and its accuracy: docs/MEASUREMENTS.md. Throws ToolkitError unless image, labels and excluded
/// pixels have the same sizes, one plane. Cost: some 0.1 ms per object, whatever its size.
std::vector<EdgeMeasurement> MeasureEdges(const qvox::VoxelImage<float>& image, const qvox::LabelImage& labels,
                                          const std::vector<LabelExtent>& extents,
                                          const EdgeProfileOptions& options = {});

}  // namespace Korvane

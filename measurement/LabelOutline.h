#pragma once

#include <vector>

#include "ClosedCurve.h"
#include "LabelExtents.h"
#include "VoxelImage.h"

namespace Korvane {

/// A region with holes. No ring meets itself; a hole may touch the exterior, or another hole, at single points.
struct OutlinePolygon {
    ClosedCurve exterior;            ///< clockwise as seen on the screen
    std::vector<ClosedCurve> holes;  ///< anticlockwise
};

/// The outlines of a label along the sides of its pixels, corners only, in raster order of their first corners: one
/// polygon for each part whose pixels share sides. Its area is the number of the pixels. Cost: the extent's box.
std::vector<OutlinePolygon> OutlinesOf(const qvox::LabelImage& labels, const LabelExtent& extent);

}  // namespace Korvane

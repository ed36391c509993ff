#pragma once

#include <cstdint>
#include <vector>

#include "LabelExtents.h"
#include "PixelScale.h"
#include "VoxelImage.h"

namespace Korvane {

/// Centre and second moments of a label's pixels, taken as rectangles of even weight.
struct ShapeMoments {
    double xPx = 0.0;  ///< centroid; the centre of the pixel in column x and row y is (x, y)
    double yPx = 0.0;
    double majorNm = 0.0;  ///< axes of the ellipse of the same second moments
    double minorNm = 0.0;
    double angleDegrees = 0.0;  ///< of the major axis from the x axis, anticlockwise on the screen, 0 <= a < 180
};

ShapeMoments MomentsOf(const qvox::LabelImage& labels, const LabelExtent& extent);

/// Convex hull of a label and what is measured on it. It runs through the middles of the sides of the pixels: the
/// corners would make every round object half a pixel too large, the centres half a pixel too small.
struct HullMeasures {
    double feretMaxNm = 0.0;  ///< largest distance of two points
    double feretMinNm = 0.0;  ///< smallest distance of two parallel lines that hold the object
    double areaNm2 = 0.0;
};

HullMeasures HullOf(const qvox::LabelImage& labels, const LabelExtent& extent);

/// Degrees of the angle whose tangent is y / x, 0 <= a < 180; 0 where both are 0. To within 1e-12, the same bits on
/// every processor.
double AxisAngleDegrees(double x, double y);

}  // namespace Korvane

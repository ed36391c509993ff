#pragma once

#include <vector>

namespace Korvane {

/// A point of an image; the centre of the pixel in column x and row y is (x, y).
struct CurvePoint {
    double x = 0.0;
    double y = 0.0;
};

/// The corners of a polygon; the last is joined to the first.
using ClosedCurve = std::vector<CurvePoint>;

/// Positive for a curve that runs clockwise as seen on the screen (x to the right, y downwards). 0 below three corners.
double SignedArea(const ClosedCurve& curve);

/// Mean of the corners. The curve is not empty.
CurvePoint MeanCorner(const ClosedCurve& curve);

/// So many points at equal distances along the curve, from its first corner on. The curve is not empty.
ClosedCurve Resampled(const ClosedCurve& curve, int points);

/// Every corner replaced by the mean of its neighbours under a Gaussian of that many corners, then the curve scaled
/// about its mean corner to the area `area` >= 0 (left as it is where the smoothed curve has none).
ClosedCurve Smoothed(const ClosedCurve& curve, double sigmaCorners, double area);

/// Unit vectors that point out of the curve at its corners; (0, 0) where neighbours coincide.
std::vector<CurvePoint> OutwardNormals(const ClosedCurve& curve);

}  // namespace Korvane

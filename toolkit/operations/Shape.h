#pragma once

#include <cstdint>
#include <vector>

#include "ComponentImage.h"

namespace qvox {

enum class ShapeMeasure {
    kPerimeter = 0,  ///< micrometres
    kArea = 1,       ///< square micrometres
};

/// Both measures of one component.
struct ShapeEstimate {
    std::uint16_t identifier = 0;
    double perimeterUm = 0.0;
    double areaUm2 = 0.0;
};

/// One measure of one component, in micrometres or square micrometres.
///
/// The pixel size is 1 / resolution of the identifier image, per axis. A resolution that is undefined (0, negative or
/// not finite) counts as 1 pixel per micrometre on that axis: the numbers are then pixels, whatever their unit says.
///
/// Area: voxel count x pixel area.
/// Perimeter: the discretised Crofton formula with four directions. Along each family of parallel grid lines
/// (horizontal, vertical, both diagonals) the crossings between the component and everything else are counted; the
/// perimeter is pi / 2 times the weighted sum of crossings x line spacing. A direction's weight is its share of the
/// half circle (its Voronoi angle), so pixels need not be square; for square pixels all four weigh 1/4.
///   perimeter = atan(sy / sx) / 2 * sy * horizontal + atan(sx / sy) / 2 * sx * vertical
///             + pi / 8 * sx * sy / sqrt(sx^2 + sy^2) * (falling + rising diagonal crossings)
/// summed in that order from whole counts. Voxels beyond the image border count as outside. The rims of holes are
/// boundary too and are counted. Never zero, never infinite; a single square pixel of size 1 has pi / 4 (2 + sqrt(2))
/// = 2.68. Sharp corners are cut slightly; docs/MEASUREMENTS.md has the accuracy by shape and size.
///
/// Throws ToolkitError when there is no such component or no such measure. Cost: one pass over the component's bounding
/// box for the perimeter, constant for the area.
/// Source: Legland, Kiêu, Devaux, "Computation of Minkowski measures on 2D and 3D binary images" (2007).
double EstimateShape(const ComponentImage& components, std::uint16_t identifier, ShapeMeasure measure);

/// Both measures of every component, in ascending order of identifier: the same bits as EstimateShape for each.
/// Cost: one pass over the image, however many components there are and however their boxes overlap.
std::vector<ShapeEstimate> EstimateShapes(const ComponentImage& components);

/// sqrt(4 area / pi), the diameter of the disc of the same area, in the area's length unit.
double EquivalentDiameter(double area);

/// 4 pi area / perimeter²: 1 for a disc, less for any other outline. Area and perimeter in the same length unit;
/// infinite or NaN for a perimeter of 0.
double Roundness(double area, double perimeter);

}  // namespace qvox

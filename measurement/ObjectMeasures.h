#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "EdgeProfiles.h"
#include "LabelExtents.h"
#include "ShapeMoments.h"
#include "VoxelImage.h"

namespace Korvane {

/// Everything that is measured of one label, its pieces together.
struct ObjectMeasures {
    LabelExtent extent;
    int pieces = 0;  ///< 8-connected
    double areaNm2 = 0.0;
    double perimeterNm = 0.0;  ///< the pieces' sum
    ShapeMoments moments;
    double xNm = 0.0;
    double yNm = 0.0;
    HullMeasures hull;
    EdgeMeasurement edge;
    double greyMean = 0.0;
    double greySd = 0.0;
    double greyMin = 0.0;
    double greyMax = 0.0;
    bool touchesEdge = false;  ///< within one pixel of the first or last column or row that was analysed
    double filledShare = 0.0;  ///< of its pixels, those excluded from edge profiles, 0 to 1
    std::optional<double> neighbourDistanceNm;  ///< of the centroids; empty for an only object
};

/// The measures of every label of an image, in ascending order of label. Scale: the label image's resolution, an
/// undefined axis counting as 1 pixel per micrometre. Throws ToolkitError as MeasureEdges.
/// Cost: a labelling, two passes over the image and its objects' boxes, and MeasureEdges.
std::vector<ObjectMeasures> MeasureEverything(const qvox::VoxelImage<float>& image, const qvox::LabelImage& labels,
                                              const EdgeProfileOptions& options = {});

/// One column of a file with a row per label.
struct ObjectColumn {
    const char* name;  ///< lower case, with its unit: "area_nm2"
    const char* unit;  ///< empty for numbers without a unit
    int decimals;
    const char* manualAnchor;  ///< the heading of docs/MEASUREMENTS.md that has the formula
    std::optional<double> (*value)(const ObjectMeasures&);
    const char* (*text)(const ObjectMeasures&);  ///< for words instead of numbers; null otherwise
};

/// All columns, in their order.
const std::vector<ObjectColumn>& ObjectColumns();

/// The value with the column's decimals and "." in every locale; empty where it was not measured or is no finite
/// number.
std::string ColumnText(const ObjectColumn& column, const ObjectMeasures& object);

}  // namespace Korvane

#pragma once

#include <cstdint>
#include <vector>

#include "VoxelImage.h"

namespace Korvane {

/// One object, as its measures see it.
struct MeasuredObject {
    std::uint16_t label = 0;
    double perimeterNm = 0.0;
    double areaNm2 = 0.0;
};

/// Every 8-connected object of equal label, in the order in which a raster scan meets them; parts of one label that do
/// not touch are objects of their own. The scale is the label image's resolution; an undefined one counts as 1 pixel
/// per micrometre. An empty image has no object. Cost: a labelling and one pass over the image.
std::vector<MeasuredObject> MeasureObjects(const qvox::LabelImage& labels);

}  // namespace Korvane

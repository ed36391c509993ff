#pragma once

#include "VoxelImage.h"

namespace Korvane {

/// Grows every label of an image into the whole object by a marker watershed on the gradient of the smoothed image.
///
/// @param raw                 grey image, one plane; not changed
/// @param labels              the seeds, sizes of `raw`; overwritten by the objects, each with its seed's value
/// @param xResolution         pixels per micrometre, > 0
/// @param minObjectDiameterUm objects of a smaller equivalent diameter are removed, one of just this diameter is kept;
///                            objects that touch, whatever their labels, are measured together
/// Throws ToolkitError when sizes differ, the image is empty or has several planes, or the pixel size is undefined.
void SegmentFromSeeds(const qvox::VoxelImage<float>& raw, qvox::LabelImage& labels, float xResolution,
                      float minObjectDiameterUm);

}  // namespace Korvane

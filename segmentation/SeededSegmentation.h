#pragma once

#include "VoxelImage.h"
#include "operations/PartRunner.h"
#include "support/OpenCVThreads.h"

namespace Korvane {

/// Grows every label of an image into the whole object by a marker watershed on the gradient of the smoothed image.
///
/// The image is smoothed by a Gaussian of kReliefSigmaPx * scale pixels, scale = xResolution / 672. The pixels of the
/// image's border, and those farther than (int)(kBackgroundDistancePx * scale) pixels, the product in single precision,
/// from every label, are the background's seed (NominalSizes.h): a label's pixels on the border are lost, and so is a
/// label of kBackgroundMarker, the background's own.
///
/// @param raw                 grey image, one plane; not changed. NaN is flooded last.
/// @param labels              the seeds, sizes of `raw`; overwritten by the objects, each with its seed's value.
///                            Without a seed everything becomes 0. Its resolution is the scale of the areas.
/// @param xResolution         pixels per micrometre, > 0
/// @param minObjectDiameterUm objects of a smaller equivalent diameter are removed, one of exactly this diameter is
///                            kept; objects that touch, whatever their labels, are measured together
/// @param run                 runs the parts of a step; the result does not depend on it
/// Border: the Gaussian mirrors the image about its border pixels, the gradient repeats them. Throws ToolkitError when
/// sizes differ, the image is empty or has several planes, or the pixel size is undefined or absurd; `labels` is then
/// untouched. cv::Exception for a fault inside OpenCV, std::bad_alloc when memory is exhausted. Cost: O(1 + sigma) per
/// pixel and one watershed.
void SegmentFromSeeds(const qvox::VoxelImage<float>& raw, qvox::LabelImage& labels, float xResolution,
                      float minObjectDiameterUm, const qvox::PartRunner& run = RunOnOpenCVThreads);

}  // namespace Korvane

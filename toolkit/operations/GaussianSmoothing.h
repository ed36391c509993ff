#pragma once

#include "VoxelImage.h"
#include "operations/PartRunner.h"

namespace qvox {

/// Smooths every plane by a Gaussian of this standard deviation, in x and in y.
///
/// The weights (operations/GaussianWeights.h) reach as far on either side as n / 2 pixels, truncated, where n is
/// 8 sigmaPx + 1, rounded to a whole number, halves to the even one. Rows are smoothed first, then columns. Each sum is
/// one of single-precision operations in this order, w being the weights and v the values at a distance:
///     s = 0;  for k = radius .. 1: s = s + w[k] * (v[-k] + v[k]);  s + w[0] * v[0]
/// so the bits depend neither on the processor nor on `run`, and a mirrored image gives the mirrored result.
///
/// `sigmaPx`: above 0, up to 100000. `output` gets the input's sizes and properties and must be another image. Border:
/// the image goes on as its mirror image about the middle of the border pixel, which is not repeated, as often as the
/// weights reach; an image that is one pixel wide goes on with that pixel. Throws ToolkitError for an empty image, for
/// the input as output and for a sigma out of its range; the output is unchanged then. Cost: O(1 + sigma) per voxel. The
/// tiles of a large image are the parts that `run` is given for each plane.
void SmoothWithGaussian(const VoxelImage<float>& input, VoxelImage<float>& output, double sigmaPx,
                        const PartRunner& run = RunOneByOne);

}  // namespace qvox

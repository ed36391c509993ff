#pragma once

#include <cstdint>

#include "VoxelImage.h"
#include "operations/PartRunner.h"

namespace qvox {

/// Marks the voxels whose value lies in a range: true where low <= input <= high, else false. With low above high the
/// range holds nothing and the mask is false everywhere; [0, 0] gives the background of a label image.
/// Every voxel is judged for itself, so any number of planes will do. The output takes the input's sizes, resolution,
/// offset and description. Throws ToolkitError when the input is empty. One pass, whose
/// ranges of voxels are the parts that `run` is given.
void ThresholdToMask(const VoxelImage<std::uint16_t>& input, VoxelImage<bool>& output, std::uint16_t low,
                     std::uint16_t high, const PartRunner& run = RunOneByOne);

}  // namespace qvox

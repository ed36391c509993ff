#pragma once

#include <cstdint>
#include <vector>

#include "VoxelImage.h"

namespace qvox {

/// Count of voxels per value; always 65536 bins.
using Histogram = std::vector<std::uint64_t>;

/// Counts the voxels of each value: histogram[v] voxels have the value v, so in a label image bin 0 counts the
/// background and the other bins that are not 0 are the labels present. The histogram always gets 65536 bins, whatever
/// it held and whatever values occur; its bins sum to the number of voxels. All planes are counted together. Throws
/// ToolkitError when the image is empty. One pass over the image and one over the bins.
void IntensityHistogram(const VoxelImage<std::uint16_t>& image, Histogram& histogram);

}  // namespace qvox

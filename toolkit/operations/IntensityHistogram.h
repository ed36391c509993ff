#pragma once

#include <cstdint>
#include <vector>

#include "VoxelImage.h"

namespace qvox {

/// Count of voxels per value; always 65536 bins.
using Histogram = std::vector<std::uint64_t>;

void IntensityHistogram(const VoxelImage<std::uint16_t>& image, Histogram& histogram);

}  // namespace qvox

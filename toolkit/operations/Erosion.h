#pragma once

#include <cstdint>

#include "VoxelImage.h"

namespace qvox {

/// Binary erosion of the true set with the disc dx² + dy² <= radius², in pixels.
void ErodeMask(const VoxelImage<bool>& input, VoxelImage<bool>& output, int radius);

}  // namespace qvox

#pragma once

#include <cstdint>

#include "VoxelImage.h"

namespace qvox {

/// Grey-level hole filling by reconstruction from the image border.
void FillHoles(const VoxelImage<std::uint16_t>& input, VoxelImage<std::uint16_t>& output);

}  // namespace qvox

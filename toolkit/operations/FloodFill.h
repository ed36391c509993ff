#pragma once

#include <cstdint>

#include "Neighbourhood8.h"
#include "VoxelImage.h"

namespace qvox {

/// Gives the connected set of voxels that have the seed's value and contain the seed the new value.
void FloodFillLabel(VoxelImage<std::uint16_t>& image, std::uint16_t value, std::uint64_t x, std::uint64_t y,
                    std::uint64_t z, Neighbourhood8 neighbourhood);

}  // namespace qvox

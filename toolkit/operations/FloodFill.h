#pragma once

#include <cstdint>

#include "Neighbourhood8.h"
#include "VoxelImage.h"

namespace qvox {

/// Gives the connected set of voxels that have the seed's value and contain the seed the new value, in place. Voxels
/// are connected through their sides and corners within a plane (the 8-neighbourhood), so the fill stays in plane z. A
/// new value equal to the seed's changes nothing. Throws ToolkitError, and changes nothing, when the image is empty or
/// the seed lies outside it.
/// Runs of voxels are filled row by row, with a stack of runs in place of recursion (Smith 1979, Heckbert 1990, here
/// with the runs widened by one voxel on either side for the corners). Costs one pass over the region; the stack holds
/// 24 bytes for each run that is filled and not yet looked around at.
void FloodFillLabel(VoxelImage<std::uint16_t>& image, std::uint16_t value, std::uint64_t x, std::uint64_t y,
                    std::uint64_t z, Neighbourhood8 neighbourhood);

}  // namespace qvox

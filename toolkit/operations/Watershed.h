#pragma once

#include <cstdint>

#include "Neighbourhood8.h"
#include "VoxelImage.h"

namespace qvox {

/// Marker-controlled watershed without dam voxels.
void WatershedFromMarkers(const VoxelImage<float>& relief, const VoxelImage<std::uint16_t>& markers,
                          VoxelImage<std::uint16_t>& output, Neighbourhood8 neighbourhood);

}  // namespace qvox

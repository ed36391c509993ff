#pragma once

#include <cstdint>
#include <array>

#include "VoxelImage.h"

namespace qvox {

/// Writes the value on the Bresenham line between two points {x, y, z}, both included.
void DrawLine(VoxelImage<std::uint16_t>& image, const std::array<std::int64_t, 3>& start,
              const std::array<std::int64_t, 3>& end, std::uint16_t value);

}  // namespace qvox

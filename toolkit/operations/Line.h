#pragma once

#include <array>
#include <cstdint>

#include "VoxelImage.h"

namespace qvox {

/// Writes the value on the straight line between two points {x, y, z}, both included, in place: Bresenham's line (1965)
/// along each minor axis. The line takes n = max(|dx|, |dy|, |dz|) steps along its longest axis (of equals x before y
/// before z) and, after k of them, lies round(k * |d| / n) voxels from the start along each other one; an exact half
/// is rounded away from the start, so the line from a to b may differ from that from b to a where it passes midway
/// between two voxels. Successive voxels touch by a side or a corner. Equal points give one voxel. Points of the line
/// that lie outside the image are left out, and the others are not moved by that; any coordinates may be given. Throws
/// ToolkitError when the image is empty. Costs at most as many steps as the image is long along the line's longest
/// axis, however far away the points are.
void DrawLine(VoxelImage<std::uint16_t>& image, const std::array<std::int64_t, 3>& start,
              const std::array<std::int64_t, 3>& end, std::uint16_t value);

}  // namespace qvox

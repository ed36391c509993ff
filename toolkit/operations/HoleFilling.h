#pragma once

#include <cstdint>

#include "VoxelImage.h"

namespace qvox {

/// Grey-level hole filling: every region of lower values that is not connected to the image border is raised to the
/// lowest level of its enclosing boundary. Each output voxel is the least level to which one must climb on a way from
/// it to the first or last column or row of its plane (the smallest maximum over all ways, its own value included);
/// this is the morphological reconstruction by erosion from the border (Vincent 1993). The output is nowhere below the
/// input, equal to it on the border, and filling it again changes nothing. Ways run through the sides of voxels
/// (4-neighbourhood): a contour whose voxels touch at corners only, as a Bresenham line's do, holds what it encloses.
/// So a closed contour of 65535 on zeros gives 65535 on and inside it and 0 outside; an open one encloses nothing. Each
/// plane is filled by itself. The output takes the input's sizes, resolution, offset and description; it must be
/// another image than the input. Throws ToolkitError when the input is empty or the output is the input.
/// Close to linear: basins are found by going down from every voxel, then joined over their lowest passes (Borůvka
/// 1926), first within tiles that fit into a processor's cache, then over the whole plane (the division is that of
/// Barnes 2016).
void FillHoles(const VoxelImage<std::uint16_t>& input, VoxelImage<std::uint16_t>& output);

}  // namespace qvox

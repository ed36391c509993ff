#pragma once

#include <cstdint>

#include "VoxelImage.h"
#include "operations/PartRunner.h"

namespace qvox {

/// Binary erosion of the true set with the disc dx² + dy² <= radius²: a voxel stays true when no false voxel of its
/// plane lies at a distance of radius pixels or less. Radius 0 copies the input. Voxels beyond the image border count
/// as true, so the border itself erodes nothing, and a mask without a false voxel stays as it is whatever the radius.
/// Each plane is eroded by itself. The output takes the input's sizes, resolution, offset and description; it must be
/// another image than the input. Exact for every width, height and radius: all arithmetic is on integers.
/// Throws ToolkitError when the input is empty, when the output is the input, or when the radius is negative.
/// Costs three passes, whatever the radius; besides the output it takes no plane of memory up to radius 254, one of 2
/// bytes per pixel up to 65534 and one of 4 beyond (the smaller of the radius and the height counts). The
/// vertical-then-horizontal order is that of exact distance transforms (Saito, Toriwaki 1994), cut off at the radius:
/// a row needs no distances, only the union of the intervals that the discs around the nearest false voxels of each
/// column cut out of it. Strips of columns, then ranges of rows, are the parts that `run` is given.
void ErodeMask(const VoxelImage<bool>& input, VoxelImage<bool>& output, int radius,
               const PartRunner& run = RunOneByOne);

}  // namespace qvox

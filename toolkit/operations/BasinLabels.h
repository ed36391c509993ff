#pragma once

#include "VoxelImage.h"
#include "operations/PartRunner.h"
#include "operations/ReliefBasins.h"

namespace qvox {

/// The labels of a watershed (Watershed.h) by basins instead of voxel by voxel, so that parts of the image are worked
/// on beside each other:
///
///  1. A voxel is flooded at its own level or, where that is higher, at the level at which the flood comes into its
///     basin: it must pass the basin's lowest voxel, from which a way leads up to it.
///  2. The level at which a flood comes into a basin follows from the passes between basins.
///  3. A voxel takes the label of that neighbour which is flooded at the lowest level. Basins that are flooded together
///     take the label of the voxel over which the flood comes.
///  4. Where several neighbours are flooded at the lowest level, the order of arrival among them decides. Where all of
///     them have one label it does not matter. That is checked for each voxel.
///
/// Returns false where the order of arrival matters, and in noise that has nearly as many basins as can be; `output` is
/// undefined then. Floods by the queue (QueueFlood.h) find it out.
///
/// `basins`: of the relief; they are used up. `markers`: as for WatershedFromMarkers. `output`: has their sizes and is
/// another image than `markers`.
bool LabelByBasins(ReliefBasins& basins, const LabelImage& markers, LabelImage& output, const PartRunner& run);

}  // namespace qvox

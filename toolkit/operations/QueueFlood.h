#pragma once

#include "VoxelImage.h"
#include "operations/PartRunner.h"

namespace qvox {

/// The labels of a watershed (Watershed.h) voxel by voxel, through a queue. It takes one thread but for what comes
/// before and after the flood.
/// `relief`, `markers`: as for WatershedFromMarkers. `output`: has their sizes.
void LabelByQueue(const VoxelImage<float>& relief, const LabelImage& markers, LabelImage& output,
                  const PartRunner& run);

}  // namespace qvox

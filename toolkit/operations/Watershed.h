#pragma once

#include <cstdint>

#include "Neighbourhood8.h"
#include "VoxelImage.h"
#include "operations/PartRunner.h"

namespace qvox {

/// Marker-controlled watershed without dam voxels: basins grow from the non-zero marker voxels in increasing order of
/// relief until every voxel has the label of the marker that floods it first.
///
/// The order is completely specified. Voxels wait in a queue that is ordered by level, and by arrival among equal
/// levels. First every marker voxel arrives, in raster order, at the level of its own relief. Then, until the queue is
/// empty, the first voxel is taken out; each of its neighbours that has no label yet, visited in the order of
/// Neighbourhood8, takes its label and arrives at the larger of its own relief and the level of the voxel taken out.
/// A relief of NaN counts as +infinity; -0.0 equals 0.0; both infinities are levels like any other.
///
/// `relief`, `markers`: the same sizes, one plane; every marker value but 0 is a label, also where two markers touch.
/// `output`: takes the sizes, resolution, offset and description of `markers`, and may be the same image. Marker voxels
/// keep their labels. Without any marker all of it is 0; with one there is no 0 left, since the plane is connected.
///
/// Throws ToolkitError when the sizes differ, or the images are empty, have more than one plane or 2^32 voxels or more.
/// Cost: near-linear in the voxels; 9 bytes per voxel beside the result on micrographs, by the parts that `run` is given
/// (BasinLabels.h). Where the order of arrival decides between two labels the queue floods all again: 12 to 16 bytes per
/// voxel, and one thread but for what comes before and after the flood.
/// Source: Beucher, Meyer (1993), flooding by an ordered queue as in Meyer (1991), without the dams.
void WatershedFromMarkers(const VoxelImage<float>& relief, const VoxelImage<std::uint16_t>& markers,
                          VoxelImage<std::uint16_t>& output, Neighbourhood8 neighbourhood,
                          const PartRunner& run = RunOneByOne);

}  // namespace qvox

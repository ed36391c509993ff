#pragma once

#include "VoxelImage.h"
#include "operations/PartRunner.h"

namespace Korvane {

// Growth of labels to the borders of their objects; shared by the refinement of detection and by seeded segmentation.
// Ranges of rows, tiles and strips of columns are the parts that `run` is given.

/// Gradient magnitude of an image of one plane, smoothed by a Gaussian of this sigma. Border: the Gaussian mirrors the
/// image about its border pixels, the gradient repeats them. Cost: O(1 + sigma) per pixel.
qvox::VoxelImage<float> SmoothedGradient(const qvox::VoxelImage<float>& raw, double sigmaPx,
                                         const qvox::PartRunner& run = qvox::RunOneByOne);

/// The labels, with kBackgroundMarker on every pixel of the border and on every pixel whose disc of this radius holds
/// no label. A label's pixels on the border are overwritten. Cost: a few passes, whatever the distance.
qvox::LabelImage AddBackgroundMarker(const qvox::LabelImage& labels, int distancePx,
                                     const qvox::PartRunner& run = qvox::RunOneByOne);

/// Floods the relief from the markers over 8 neighbours (operations/Watershed.h states its ties) and writes the basins
/// into `labels`, kBackgroundMarker as 0. `labels`, of the same sizes, keeps its resolution, offset and description.
void GrowMarkers(const qvox::VoxelImage<float>& relief, const qvox::LabelImage& markers, qvox::LabelImage& labels,
                 const qvox::PartRunner& run = qvox::RunOneByOne);

/// Copies the voxels alone, between images of the same sizes.
void CopyLabels(const qvox::LabelImage& from, qvox::LabelImage& to, const qvox::PartRunner& run = qvox::RunOneByOne);

}  // namespace Korvane

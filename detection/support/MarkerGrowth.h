#pragma once

#include "VoxelImage.h"

namespace Korvane {

// Growth of labels to the borders of their objects; shared by the refinement of detection and by seeded segmentation.

/// Gradient magnitude of an image of one plane, smoothed by a Gaussian of this sigma. Border: the Gaussian mirrors the
/// image about its border pixels, the gradient repeats them. Cost: O(1 + sigma) per pixel.
qvox::VoxelImage<float> SmoothedGradient(const qvox::VoxelImage<float>& raw, double sigmaPx);

/// The labels, with kBackgroundMarker on every pixel of the border and on every pixel whose disc of this radius holds
/// no label. A label's pixels on the border are overwritten. Cost: a few passes, whatever the distance.
qvox::LabelImage AddBackgroundMarker(const qvox::LabelImage& labels, int distancePx);

/// Floods the relief from the markers over 8 neighbours (operations/Watershed.h states its ties) and writes the basins
/// into `labels`, kBackgroundMarker as 0. `labels` keeps its resolution, offset and description.
void GrowMarkers(const qvox::VoxelImage<float>& relief, const qvox::LabelImage& markers, qvox::LabelImage& labels);

}  // namespace Korvane

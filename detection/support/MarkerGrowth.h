#pragma once

#include "VoxelImage.h"

namespace Korvane {

/// Gradient magnitude of the image smoothed by a Gaussian of this sigma; one plane.
qvox::VoxelImage<float> SmoothedGradient(const qvox::VoxelImage<float>& raw, double sigmaPx);

/// The labels, with kBackgroundMarker on every pixel of the border and on every pixel whose disc of this radius holds
/// no label. A label's pixels on the border are overwritten.
qvox::LabelImage AddBackgroundMarker(const qvox::LabelImage& labels, int distancePx);

/// Floods the relief from the markers and writes the basins into `labels`, kBackgroundMarker as 0. `labels` keeps its
/// resolution, offset and description.
void GrowMarkers(const qvox::VoxelImage<float>& relief, const qvox::LabelImage& markers, qvox::LabelImage& labels);

}  // namespace Korvane

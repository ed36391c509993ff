#pragma once

#include "VoxelImage.h"

namespace Korvane {

/// How far the pixels to be replaced reach beyond annotations: writing is smoothed at its edges.
inline constexpr int kFillMarginPx = 2;

/// The mask with every pixel within `marginPx` of a set one set too, diagonals included. One plane.
qvox::VoxelImage<bool> WidenMask(const qvox::VoxelImage<bool>& mask, int marginPx);

/// Replaces the pixels of the mask by a harmonic continuation of the others: each becomes the mean of its neighbours
/// above, below, left and right; outside the image there are none. The other pixels keep their bits.
///
/// `image`, `mask`: one plane, of the same sizes. Throws ToolkitError where they are not, and where the mask leaves no
/// pixel. The same bits on every processor. Cost: linear in the mask's pixels times the width of its pieces (conjugate
/// gradients; Hestenes, Stiefel 1952).
void FillAnnotations(qvox::VoxelImage<float>& image, const qvox::VoxelImage<bool>& mask);

}  // namespace Korvane

#pragma once

#include <opencv2/core.hpp>

#include "VoxelImage.h"
#include "operations/PartRunner.h"

namespace Korvane {

/// First stage: the strength of edges in a grey image.
///
/// 1. Intensities are normalised to 0 .. 1: (value - minimum) / (maximum - minimum) in single precision.
/// 2. A Gaussian of sigma kSmoothingSigmaPx * scale pixels smooths them; an image that is exactly kWidthWithBonus wide
///    gets kSigmaBonusPixels more.
/// 3. They are stored as 16-bit grey levels, value * 65536 truncated; the brightest pixel, if still 1, wraps to 0.
/// 4. Edge-enhancing diffusion smooths along edges (operations/Diffusion.h; Weickert 1998).
/// 5. The gradient's magnitude (support/GradientMagnitude.h) is normalised as in 1.
///
/// @param raw   one plane of finite intensities that are not all equal
/// @param scale image pixels per nominal pixel, > 0
/// @return one float channel, sizes of `raw`, edge strength 0 .. 1; NaN everywhere when smoothing left no gradient
/// Border: the Gaussian mirrors the image about its border pixels, the diffusion mirrors it with the border pixel
/// repeated, the gradient repeats the border pixel. Throws ToolkitError when the image has several planes,
/// cv::Exception for a fault inside OpenCV, std::bad_alloc when memory is exhausted. Cost per pixel: O(1) for each
/// diffusion step, O(scale) for the first Gaussian; at most four float maps at a time.
/// Ranges of rows, bands and strips are the parts that `run` is given.
cv::Mat MakeEdgeMap(const qvox::VoxelImage<float>& raw, float scale, const qvox::PartRunner& run = qvox::RunOneByOne);

}  // namespace Korvane

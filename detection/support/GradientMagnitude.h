#pragma once

#include <cstdint>

#include <opencv2/core.hpp>

#include "VoxelImage.h"
#include "operations/PartRunner.h"

namespace Korvane {

/// Magnitude of the central-difference gradient, sqrt(gx² + gy²) with gx = (I(x + 1) - I(x - 1)) / 2, all in single
/// precision; gy likewise. Beyond the border the image goes on with its border pixels, so that a border pixel's
/// component across the border is half the one-sided difference and a single row or column has no component across.
/// `source` is a float matrix of any size and may be a part of a larger one: what surrounds the part does not count.
/// The result has its size; NaN spreads to the four neighbours. Costs one pass.
cv::Mat GradientMagnitude(const cv::Mat& source);

/// The same, into a matrix of the source's size that the caller provides and that does not overlap the source. Ranges
/// of rows are the parts that `run` is given.
void GradientMagnitude(const cv::Mat& source, cv::Mat& result, const qvox::PartRunner& run = qvox::RunOneByOne);

/// The same of grey levels of one plane: that of a float matrix that holds them.
void GradientMagnitude(const qvox::VoxelImage<std::uint16_t>& source, cv::Mat& result,
                       const qvox::PartRunner& run = qvox::RunOneByOne);

}  // namespace Korvane

#pragma once

#include <opencv2/core.hpp>

#include "VoxelImage.h"

namespace korvane_reference {

/// Voxel (x, y, 0) to element (y, x), and back into an image of the matrix's sizes and one plane.
cv::Mat PlainToMat(const qvox::VoxelImage<float>& image);
void PlainToImage(const cv::Mat& matrix, qvox::VoxelImage<float>& image);
void PlainToImage(const cv::Mat& matrix, qvox::VoxelImage<std::uint8_t>& image);

}  // namespace korvane_reference

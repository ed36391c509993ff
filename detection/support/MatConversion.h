#pragma once

#include <cstdint>

#include <opencv2/core.hpp>

#include "VoxelImage.h"
#include "operations/PartRunner.h"

namespace Korvane {

/// A matrix header over the voxels of a single-plane image: element (row y, column x) is voxel (x, y). Nothing is
/// copied, the image must outlive the matrix. The form for constant images is for reading only.
/// Throws ToolkitError when the image has several planes or more rows or columns than a matrix can count.
cv::Mat ViewAsMat(qvox::VoxelImage<float>& image);
cv::Mat ViewAsMat(const qvox::VoxelImage<float>& image);

/// The size of a matrix with the voxels of a single-plane image. Throws as ViewAsMat.
cv::Size MatSize(const qvox::VoxelImage<std::uint16_t>& image);

/// Resizes the image to the matrix (one plane) and copies every element; resolution, offset and description stay.
void CopyFromMat(const cv::Mat& source, qvox::VoxelImage<float>& image);
void CopyFromMat(const cv::Mat& source, qvox::VoxelImage<std::uint8_t>& image);

/// Resizes the image to the float matrix (one plane) and stores every value x as x * kSixteenBitLevels, truncated
/// towards zero and taken modulo 65536: 1 wraps to 0. NaN, and products outside the range of a 32-bit integer, become
/// 0. Ranges of rows are the parts that `run` is given.
void CopyToSixteenBit(const cv::Mat& source, qvox::VoxelImage<std::uint16_t>& image,
                      const qvox::PartRunner& run = qvox::RunOneByOne);

}  // namespace Korvane

#pragma once

#include <opencv2/core.hpp>

#include "operations/PartRunner.h"

namespace Korvane {

/// Fourth stage: turns filtered candidate regions into one compact blob per object, so that touching objects of a
/// cluster come apart.
///
/// 1. Every set pixel gets its Euclidean distance, in pixels, to the nearest zero pixel.
/// 2. The distances lowered by kDomeHeightPixels, at least 0, are reconstructed by dilation under the distances. What
///    rises by more than kCoreRisePixels above the reconstruction is a core: the top of each dome that is separate.
/// 3. Cores are eroded by an ellipse of kCoreErosionPixels, which removes specks, and dilated by one of
///    (int)(scale + kBlobGrowthPixels) pixels.
///
/// @param filtered 8 bit, non-zero on the regions
/// @param scale    image pixels per nominal pixel
/// @return one float channel of the same size, 1 on the blobs, 0 elsewhere
/// Border: beyond it lies no zero pixel, and erosion and dilation see neither set nor unset. An image without a zero
/// pixel is one core. Distances are exact, rounded once to float; no result depends on the order of the reconstruction.
/// Throws cv::Exception when the map is not of 8 bit, std::bad_alloc when memory is exhausted. Cost: a few passes over
/// the regions' boxes and the image. Reconstruction after Vincent (1993), per region.
/// Ranges of rows and groups of regions are the parts that `run` is given.
cv::Mat SeparateClusters(const cv::Mat& filtered, float scale, const qvox::PartRunner& run = qvox::RunOneByOne);

}  // namespace Korvane

#pragma once

#include <opencv2/core.hpp>

namespace Korvane {

/// Turns filtered candidate regions (8 bit, non-zero) into one compact blob per object: a float matrix of the same
/// size, 1 on the blobs, 0 elsewhere.
///
/// Every pixel has its Euclidean distance to the nearest zero pixel. The pixels that rise by more than 0.5 above the
/// reconstruction by dilation of (distance - 3, at least 0) under the distance are the cores; they are eroded by a 3 x
/// 3 ellipse and dilated by one of k x k, k = (int)(scale + 5). Beyond the picture's border lies nothing: no zero
/// pixel, and neither set nor unset for erosion and dilation. A picture without a zero pixel is one core. Costs a few
/// passes over the regions' boxes and the picture; exact for every width. Reconstruction after Vincent (1993).
cv::Mat SeparateClusters(const cv::Mat& filtered, float scale);

}  // namespace Korvane

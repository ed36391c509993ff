#pragma once

#include <cstdint>

#include <opencv2/core.hpp>

namespace Korvane {

/// Keeps the candidate regions that are not too large and compact enough to survive an opening that follows their size.
///
/// A region is an 8-connected set of pixels that are 1 in `candidateMask` (float). It is dropped when it has more than
/// 50000 * scale pixels. Otherwise it is opened with an ellipse of k x k, k the larger of 2 * floor(r * areaFraction)
/// and floor(11 * scale), made odd by adding 1, with r the radius of the disc of the region's area; it is kept when at
/// least 0.9 of its pixels are left. Beyond the picture's border a region counts as going on when it is eroded.
///
/// @param filtered 8 bit, same size; kept regions are set to 255 in it, other pixels stay as they are
/// A mask whose minimum and maximum are not 0 and 1 is first made one by its pixels above 0.1.
/// Costs one pass over the picture and, per region, its bounding box times k.
void FilterCandidates(const cv::Mat& candidateMask, cv::Mat& filtered, float scale, float areaFraction);

/// Side of the square that holds the ellipse with which a region of this many pixels is opened; odd.
int OpeningSize(std::int64_t areaPx, float scale, float areaFraction);

}  // namespace Korvane

#pragma once

#include <opencv2/core.hpp>

namespace korvane_reference {

/// Thins the regions of a float map of 0.0 and 1.0 in place to a skeleton one pixel wide (Guo, Hall 1989). What lies
/// beyond the border counts as foreground, so regions stay attached to it.
void PlainThinning(cv::Mat& regions);

/// Removes the open branches of a skeleton in place; pixels on closed loops stay. Writes 1.0 into `ends` at the
/// end of every branch that is longer than trunc(15 x scale) pixels.
void PlainBranchPruning(cv::Mat& skeleton, cv::Mat& ends, float scale);

}  // namespace korvane_reference

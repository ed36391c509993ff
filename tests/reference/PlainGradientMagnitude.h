#pragma once

#include <opencv2/core.hpp>

namespace korvane_reference {

/// Central differences of a float matrix with replicated border, and their length. The result is a view into a
/// larger matrix, of the source's sizes.
cv::Mat PlainGradientMagnitude(const cv::Mat& source);

}  // namespace korvane_reference

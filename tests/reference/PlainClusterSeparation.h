#pragma once

#include <opencv2/core.hpp>

namespace korvane_reference {

/// Each pixel's Euclidean distance to the nearest zero pixel of an 8-bit map, as the float nearest to the true value.
/// A map without any zero pixel is taken to lie very far from one: 1e6 everywhere.
cv::Mat PlainDistanceMap(const cv::Mat& filtered);

/// Replaces a float map in place by the domes of its regional maxima, at most `height` high.
void PlainDomeExtraction(cv::Mat& map, float height);

/// One blob of 1.0 per object of a filtered map (8 bit), float. A map without any zero pixel becomes one blob.
cv::Mat PlainSeparateClusters(const cv::Mat& filtered, float scale);

}  // namespace korvane_reference

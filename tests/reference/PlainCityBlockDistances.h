#pragma once

#include <algorithm>
#include <cstdlib>

#include <opencv2/core.hpp>

namespace korvane_reference {

/// The city-block distance of each pixel to the nearest pixel of the map outside a set (values of 0), as 32-bit
/// numbers; width + height if there is none. Pixels outside the map count for nothing.
inline cv::Mat PlainCityBlockDistances(const cv::Mat& set) {
    const int far = set.cols + set.rows;
    cv::Mat inRow(set.size(), CV_32S, cv::Scalar(far));
    for (int y = 0; y < set.rows; ++y) {
        for (int x = 0; x < set.cols; ++x) {
            if (set.at<float>(y, x) != 0.0f) continue;
            for (int u = 0; u < set.cols; ++u) {
                inRow.at<int>(y, u) = std::min(inRow.at<int>(y, u), std::abs(u - x));
            }
        }
    }
    cv::Mat distances(set.size(), CV_32S);
    for (int y = 0; y < set.rows; ++y) {
        for (int x = 0; x < set.cols; ++x) {
            int nearest = far;
            for (int v = 0; v < set.rows; ++v) nearest = std::min(nearest, inRow.at<int>(v, x) + std::abs(v - y));
            distances.at<int>(y, x) = nearest;
        }
    }
    return distances;
}

}  // namespace korvane_reference

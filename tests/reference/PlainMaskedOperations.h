#pragma once

#include <opencv2/core.hpp>

namespace korvane_reference {

/// Sets every pixel whose mask value is exactly 1.0 and whose target value is exactly `from` to `to`.
inline void PlainMaskedReplacement(cv::Mat& target, const cv::Mat& mask, float from, float to) {
    for (int y = 0; y < target.rows; ++y) {
        for (int x = 0; x < target.cols; ++x) {
            if (mask.at<float>(y, x) == 1.0f && target.at<float>(y, x) == from) target.at<float>(y, x) = to;
        }
    }
}

/// Sets every pixel whose mask value is exactly 1.0 to `value`.
inline void PlainMaskedAssignment(cv::Mat& target, const cv::Mat& mask, float value) {
    for (int y = 0; y < target.rows; ++y) {
        for (int x = 0; x < target.cols; ++x) {
            if (mask.at<float>(y, x) == 1.0f) target.at<float>(y, x) = value;
        }
    }
}

}  // namespace korvane_reference

#pragma once

#include <algorithm>
#include <cstdint>
#include <random>

#include <opencv2/core.hpp>

#include "support/Random.h"

namespace korvane_test {

/// A small random 0/1 float mask: sparse or dense noise, discs, rectangles and lines, sometimes inverted, often
/// touching the border; single rows and columns, empty and full ones occur.
inline cv::Mat RandomMask(std::mt19937& random, int maxSide) {
    const auto draw = [&](int low, int high) { return UniformInt(random, low, high); };
    const int width = draw(0, 9) == 0 ? 1 : draw(1, maxSide);
    const int height = draw(0, 9) == 0 ? 1 : draw(1, maxSide);
    cv::Mat mask = cv::Mat::zeros(height, width, CV_32FC1);
    const int noise = draw(0, 3) == 0 ? draw(0, 100) : 0;
    for (int i = 0; i < width * height; ++i) {
        if (draw(0, 99) < noise) mask.at<float>(i / width, i % width) = 1.0f;
    }
    for (int shapes = draw(0, 5); shapes > 0; --shapes) {
        const int cx = draw(-3, width + 2);
        const int cy = draw(-3, height + 2);
        const int rx = draw(0, std::max(1, maxSide / 2));
        const int ry = draw(0, 2) == 0 ? draw(0, 2) : draw(0, std::max(1, maxSide / 2));
        const bool disc = draw(0, 2) != 0;
        const float value = draw(0, 4) == 0 ? 0.0f : 1.0f;
        for (int y = std::max(0, cy - ry); y <= std::min(height - 1, cy + ry); ++y) {
            for (int x = std::max(0, cx - rx); x <= std::min(width - 1, cx + rx); ++x) {
                const double dx = (x - cx) / (rx + 0.5);
                const double dy = (y - cy) / (ry + 0.5);
                if (!disc || dx * dx + dy * dy <= 1.0) mask.at<float>(y, x) = value;
            }
        }
    }
    if (draw(0, 7) == 0) mask = 1.0 - mask;
    return mask;
}

/// Number of elements whose bits differ; matrices of other sizes or types differ everywhere.
inline std::int64_t DifferingElements(const cv::Mat& a, const cv::Mat& b) {
    if (a.size() != b.size() || a.type() != b.type()) return -1;
    std::int64_t count = 0;
    for (int y = 0; y < a.rows; ++y) {
        const auto bytes = static_cast<std::size_t>(a.cols) * a.elemSize();
        for (std::size_t i = 0; i < bytes; ++i) count += a.ptr(y)[i] != b.ptr(y)[i];
    }
    return count;
}

}  // namespace korvane_test

#pragma once

#include <cmath>
#include <cstring>
#include <initializer_list>
#include <string>
#include <string_view>

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

namespace korvane_test {

/// A float map drawn with one digit per pixel, one string per row; '.' is 0.
inline cv::Mat DrawMap(std::initializer_list<std::string_view> rows) {
    cv::Mat map = cv::Mat::zeros(static_cast<int>(rows.size()), static_cast<int>(rows.begin()->size()), CV_32F);
    int y = 0;
    for (const std::string_view row : rows) {
        EXPECT_EQ(static_cast<int>(row.size()), map.cols) << "row " << y << " of a drawn map has another length";
        for (int x = 0; x < map.cols; ++x) {
            const char c = row[static_cast<std::size_t>(x)];
            map.at<float>(y, x) = c == '.' ? 0.0f : static_cast<float>(c - '0');
        }
        ++y;
    }
    return map;
}

/// 0 outside and `value` on the disc dx² + dy² <= radius².
inline void PaintDisc(cv::Mat& map, double cx, double cy, double radius, float value) {
    for (int y = 0; y < map.rows; ++y) {
        for (int x = 0; x < map.cols; ++x) {
            if ((x - cx) * (x - cx) + (y - cy) * (y - cy) > radius * radius) continue;
            if (map.type() == CV_32F) map.at<float>(y, x) = value;
            if (map.type() == CV_8U) map.at<uchar>(y, x) = static_cast<uchar>(value);
        }
    }
}

/// The same type, sizes and bits; names the first pixel that differs.
inline ::testing::AssertionResult SameMaps(const cv::Mat& expected, const cv::Mat& actual) {
    if (expected.type() != actual.type()) return ::testing::AssertionFailure() << "the types differ";
    if (expected.size() != actual.size()) {
        return ::testing::AssertionFailure() << "sizes differ: " << expected.cols << " x " << expected.rows << " and "
                                             << actual.cols << " x " << actual.rows;
    }
    const std::size_t bytes = expected.elemSize();
    for (int y = 0; y < expected.rows; ++y) {
        for (int x = 0; x < expected.cols; ++x) {
            if (std::memcmp(expected.ptr(y, x), actual.ptr(y, x), bytes) == 0) continue;
            auto failure = ::testing::AssertionFailure() << "first difference at x " << x << ", y " << y;
            if (expected.type() == CV_32F) {
                failure << ": expected " << expected.at<float>(y, x) << ", got " << actual.at<float>(y, x);
            }
            return failure;
        }
    }
    return ::testing::AssertionSuccess();
}

}  // namespace korvane_test

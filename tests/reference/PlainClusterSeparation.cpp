#include "reference/PlainClusterSeparation.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include <opencv2/imgproc.hpp>

#include "reference/PlainTruncation.h"

namespace korvane_reference {

namespace {

constexpr float kVeryFar = 1.0e6f;
constexpr std::int64_t kNoZero = std::numeric_limits<std::int64_t>::max();

/// Squared distance to the nearest zero pixel of the same column.
std::vector<std::int64_t> ColumnSquares(const cv::Mat& map) {
    const std::size_t width = static_cast<std::size_t>(map.cols);
    std::vector<std::int64_t> squares(width * static_cast<std::size_t>(map.rows), kNoZero);
    for (int x = 0; x < map.cols; ++x) {
        for (int zero = 0; zero < map.rows; ++zero) {
            if (map.at<uchar>(zero, x) != 0) continue;
            // Up to the middle between this zero and the next one on either side no other is nearer.
            for (const int step : {-1, 1}) {
                for (int y = zero; y >= 0 && y < map.rows; y += step) {
                    const std::int64_t d = y - zero;
                    std::int64_t& best = squares[static_cast<std::size_t>(y) * width + static_cast<std::size_t>(x)];
                    if (y != zero && d * d >= best) break;
                    best = std::min(best, d * d);
                }
            }
        }
    }
    return squares;
}

/// The smallest sum of a column's square and the squared way to that column; a column farther away than the best
/// sum found cannot improve on it.
std::int64_t NearestSquare(const std::int64_t* columnSquares, int x, int width) {
    std::int64_t best = kNoZero;
    for (int distance = 0; distance < width; ++distance) {
        const std::int64_t square = static_cast<std::int64_t>(distance) * distance;
        if (square >= best) break;
        for (const int other : {x - distance, x + distance}) {
            if (other < 0 || other >= width || columnSquares[other] == kNoZero) continue;
            best = std::min(best, square + columnSquares[other]);
        }
    }
    return best;
}

float LargestAround(const cv::Mat& map, int y, int x) {
    float largest = map.at<float>(y, x);
    for (int ny = std::max(y - 1, 0); ny <= std::min(y + 1, map.rows - 1); ++ny) {
        for (int nx = std::max(x - 1, 0); nx <= std::min(x + 1, map.cols - 1); ++nx) {
            largest = std::max(largest, map.at<float>(ny, nx));
        }
    }
    return largest;
}

void SweepMarker(cv::Mat& marker, const cv::Mat& input) {
    for (int y = 0; y < marker.rows; ++y) {
        for (int x = 0; x < marker.cols; ++x) {
            float& value = marker.at<float>(y, x);
            if (value < 0.0f) {
                value = 0.0f;
                continue;
            }
            const float largest = LargestAround(marker, y, x);
            if (largest > value) value = largest < input.at<float>(y, x) ? largest : input.at<float>(y, x);
        }
    }
}

}  // namespace

cv::Mat PlainDistanceMap(const cv::Mat& filtered) {
    const std::vector<std::int64_t> squares = ColumnSquares(filtered);
    cv::Mat distances(filtered.size(), CV_32F);
    for (int y = 0; y < filtered.rows; ++y) {
        const std::int64_t* row = squares.data() + static_cast<std::ptrdiff_t>(y) * filtered.cols;
        for (int x = 0; x < filtered.cols; ++x) {
            const std::int64_t square = NearestSquare(row, x, filtered.cols);
            distances.at<float>(y, x) =
                square == kNoZero ? kVeryFar : static_cast<float>(std::sqrt(static_cast<double>(square)));
        }
    }
    return distances;
}

void PlainDomeExtraction(cv::Mat& map, float height) {
    cv::Mat marker = map - static_cast<double>(height);
    cv::Mat before;
    do {
        before = marker.clone();
        SweepMarker(marker, map);
    } while (cv::countNonZero(marker != before) > 0);
    cv::subtract(map, marker, map);
}

cv::Mat PlainSeparateClusters(const cv::Mat& filtered, float scale) {
    cv::Mat map = PlainDistanceMap(filtered);
    PlainDomeExtraction(map, 3.0f);
    cv::threshold(map, map, 0.5, 1.0, cv::THRESH_BINARY);
    cv::erode(map, map, cv::getStructuringElement(cv::MORPH_ELLIPSE, cv::Size(3, 3)), cv::Point(-1, -1), 1,
              cv::BORDER_CONSTANT, cv::morphologyDefaultBorderValue());
    const int size = PlainTruncateToInt(static_cast<double>(scale + 5.0f));
    cv::dilate(map, map, cv::getStructuringElement(cv::MORPH_ELLIPSE, cv::Size(size, size)), cv::Point(-1, -1), 1,
               cv::BORDER_CONSTANT, cv::morphologyDefaultBorderValue());
    return map;
}

}  // namespace korvane_reference

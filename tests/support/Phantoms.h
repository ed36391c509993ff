#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

#include <opencv2/imgproc.hpp>

#include "VoxelImage.h"
#include "support/Random.h"

/// Seeded pictures for differential tests.
namespace korvane_test {

/// Stretches a map in place so that its smallest value is exactly 0 and its largest exactly 1; a constant becomes 0.
inline void SpanZeroToOne(cv::Mat& map) {
    double low = 0.0;
    double high = 0.0;
    cv::minMaxLoc(map, &low, &high);
    const float base = static_cast<float>(low);
    const float range = static_cast<float>(high) - base;
    for (int y = 0; y < map.rows; ++y) {
        for (int x = 0; x < map.cols; ++x) {
            map.at<float>(y, x) = range > 0.0f ? (map.at<float>(y, x) - base) / range : 0.0f;
        }
    }
}

/// Noise smoothed with a Gaussian of that sigma (0 leaves it white), spanning 0 to 1.
inline cv::Mat SmoothNoise(std::uint32_t seed, int width, int height, double correlationPx) {
    std::mt19937 random(seed);
    cv::Mat map(height, width, CV_32F);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) map.at<float>(y, x) = Uniform(random);
    }
    if (correlationPx > 0.0) cv::GaussianBlur(map, map, cv::Size(-1, -1), correlationPx, correlationPx);
    SpanZeroToOne(map);
    return map;
}

/// Noise whose bright ridges are few, as in a real edge map: |noise - 1/2| turned over and raised to a power.
inline cv::Mat RidgeNoise(std::uint32_t seed, int width, int height, double correlationPx) {
    cv::Mat map = SmoothNoise(seed, width, height, correlationPx);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const float ridge = 1.0f - 2.0f * std::fabs(map.at<float>(y, x) - 0.5f);
            map.at<float>(y, x) = ridge * ridge * ridge * ridge;
        }
    }
    SpanZeroToOne(map);
    return map;
}

/// What a picture of vesicles looks like; radii in pixels, grey levels relative to a background of 0.5.
struct VesicleOptions {
    int count = 12;
    float smallestRadiusPx = 12.0f;
    float largestRadiusPx = 30.0f;
    float rim = 0.3f;     ///< brightness of the rim; negative rims are dark
    float inside = 0.1f;  ///< brightness of the inside
    float noise = 0.03f;  ///< half the width of the uniform noise
    double blurPx = 1.0;
    int touchingPairs = 3;  ///< of the count, so many touch the vesicle before
    int overlappingPairs = 2;
};

/// A raw picture of discs with rims, some of them touching and overlapping or cut by the border.
inline cv::Mat Vesicles(std::uint32_t seed, int width, int height, const VesicleOptions& options = {}) {
    std::mt19937 random(seed);
    cv::Mat map(height, width, CV_32F, cv::Scalar(0.5));
    float cx = 0.0f;
    float cy = 0.0f;
    float radius = 0.0f;
    for (int i = 0; i < options.count; ++i) {
        const float before = radius;
        radius = Uniform(random, options.smallestRadiusPx, options.largestRadiusPx);
        const float angle = Uniform(random, 0.0f, 6.2831853f);
        const float freeX = Uniform(random, 0.0f, static_cast<float>(width));
        const float freeY = Uniform(random, 0.0f, static_cast<float>(height));
        const int rank = i - 1;  // the first stands alone
        const bool touches = rank >= 0 && rank < options.touchingPairs;
        const bool overlaps = rank >= options.touchingPairs && rank < options.touchingPairs + options.overlappingPairs;
        const float distance = (before + radius) * (touches ? 1.0f : 0.7f);
        cx = touches || overlaps ? cx + distance * std::cos(angle) : freeX;
        cy = touches || overlaps ? cy + distance * std::sin(angle) : freeY;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const float r = std::hypot(static_cast<float>(x) - cx, static_cast<float>(y) - cy);
                if (r <= radius) map.at<float>(y, x) += r > radius - 3.0f ? options.rim : options.inside;
            }
        }
    }
    if (options.blurPx > 0.0) cv::GaussianBlur(map, map, cv::Size(-1, -1), options.blurPx, options.blurPx);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) map.at<float>(y, x) += Uniform(random, -options.noise, options.noise);
    }
    return map;
}

/// The edge map of such a picture, spanning 0 to 1.
inline cv::Mat VesicleEdges(std::uint32_t seed, int width, int height, const VesicleOptions& options = {}) {
    cv::Mat raw = Vesicles(seed, width, height, options);
    cv::GaussianBlur(raw, raw, cv::Size(-1, -1), 1.5, 1.5);
    cv::Mat dx;
    cv::Mat dy;
    cv::Mat edges;
    cv::Sobel(raw, dx, CV_32F, 1, 0);
    cv::Sobel(raw, dy, CV_32F, 0, 1);
    cv::magnitude(dx, dy, edges);
    SpanZeroToOne(edges);
    return edges;
}

/// A map brought to so many grey levels (2 or more), which makes plateaus and ties.
inline cv::Mat WithGreyLevels(const cv::Mat& map, int levels) {
    cv::Mat coarse = map.clone();
    const float last = static_cast<float>(levels - 1);
    for (int y = 0; y < coarse.rows; ++y) {
        for (int x = 0; x < coarse.cols; ++x) {
            coarse.at<float>(y, x) = std::floor(coarse.at<float>(y, x) * last + 0.5f) / last;
        }
    }
    return coarse;
}

/// A map with every n-th pixel, on the average, replaced by a value such as NaN.
inline cv::Mat Sprinkled(const cv::Mat& map, std::uint32_t seed, std::uint32_t n,
                         float value = std::numeric_limits<float>::quiet_NaN()) {
    std::mt19937 random(seed);
    cv::Mat changed = map.clone();
    for (int y = 0; y < changed.rows; ++y) {
        for (int x = 0; x < changed.cols; ++x) {
            if (random() % n == 0) changed.at<float>(y, x) = value;
        }
    }
    return changed;
}

inline cv::Mat Constant(int width, int height, float value) {
    return cv::Mat(height, width, CV_32F, cv::Scalar(static_cast<double>(value)));
}

/// 1.0 where a map lies above a level, 0.0 elsewhere: a component map or a candidate mask.
inline cv::Mat Above(const cv::Mat& map, float level) {
    cv::Mat mask;
    cv::threshold(map, mask, static_cast<double>(level), 1.0, cv::THRESH_BINARY);
    return mask;
}

inline qvox::VoxelImage<float> ToImage(const cv::Mat& map) {
    qvox::VoxelImage<float> image;
    image.Resize(static_cast<std::uint64_t>(map.cols), static_cast<std::uint64_t>(map.rows), 1);
    for (int y = 0; y < map.rows; ++y)
        std::copy_n(map.ptr<float>(y), map.cols, image.Row(static_cast<std::uint64_t>(y)));
    return image;
}

}  // namespace korvane_test

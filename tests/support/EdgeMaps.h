#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <opencv2/imgproc.hpp>
#include <random>

#include "support/Random.h"

// Edge maps as detection sees them, made from seeded pictures. Header-only, so that only what links OpenCV pays for it.
namespace korvane_test {

/// Brings the values to 0 .. 1; a constant map becomes all 0.
inline cv::Mat Normalised(const cv::Mat& map) {
    double smallest = 0.0;
    double largest = 0.0;
    cv::minMaxLoc(map, &smallest, &largest);
    if (!(largest > smallest)) {
        return cv::Mat::zeros(map.size(), CV_32F);
    }
    return (map - smallest) / static_cast<float>(largest - smallest);
}

/// Normalised gradient magnitude of a picture, central differences, replicated border.
inline cv::Mat EdgeMapOf(const cv::Mat& picture) {
    cv::Mat padded;
    cv::copyMakeBorder(picture, padded, 1, 1, 1, 1, cv::BORDER_REPLICATE);
    cv::Mat edges(picture.size(), CV_32F);
    for (int y = 0; y < picture.rows; ++y) {
        for (int x = 0; x < picture.cols; ++x) {
            const float gx = 0.5f * (padded.at<float>(y + 1, x + 2) - padded.at<float>(y + 1, x));
            const float gy = 0.5f * (padded.at<float>(y + 2, x + 1) - padded.at<float>(y, x + 1));
            edges.at<float>(y, x) = std::sqrt(gx * gx + gy * gy);
        }
    }
    return Normalised(edges);
}

inline cv::Mat NoisePicture(int width, int height, double sigma, std::uint32_t seed) {
    std::mt19937 random(seed);
    cv::Mat picture(height, width, CV_32F);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            picture.at<float>(y, x) = Uniform(random);
        }
    }
    if (sigma > 0.0) {
        cv::GaussianBlur(picture, picture, cv::Size(), sigma, sigma, cv::BORDER_REFLECT_101);
    }
    return Normalised(picture);
}

struct DiscPicture {
    double discsPerMegapixel = 80.0;
    double smallestRadiusPx = 20.0;
    double largestRadiusPx = 40.0;
    double noise = 0.1;
    double blurSigmaPx = 2.0;
};

/// Discs of varying grey on an even ground, with noise, blurred; they may touch and overlap.
inline cv::Mat PictureOfDiscs(int width, int height, const DiscPicture& look, std::uint32_t seed) {
    std::mt19937 random(seed);
    const auto uniform = [&] { return static_cast<double>(Uniform(random)); };
    cv::Mat picture(height, width, CV_32F, cv::Scalar(0.6));
    const int count = static_cast<int>(std::ceil(look.discsPerMegapixel * width * height / 1.0e6));
    for (int i = 0; i < count; ++i) {
        const double x = uniform() * width;
        const double y = uniform() * height;
        const double radius = look.smallestRadiusPx + uniform() * (look.largestRadiusPx - look.smallestRadiusPx);
        const double grey = 0.1 + 0.3 * uniform();
        cv::circle(picture, cv::Point(static_cast<int>(x), static_cast<int>(y)), static_cast<int>(radius),
                   cv::Scalar(grey), cv::FILLED);
    }
    picture += look.noise * NoisePicture(width, height, 0.0, seed + 1);
    cv::GaussianBlur(picture, picture, cv::Size(), look.blurSigmaPx, look.blurSigmaPx, cv::BORDER_REFLECT_101);
    return picture;
}

}  // namespace korvane_test

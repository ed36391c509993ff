#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <random>

#include <opencv2/imgproc.hpp>

#include "VoxelImage.h"
#include "support/Random.h"

/// Images of one vesicle whose outline is known, for tests of edge profiles.
namespace korvane_test {

enum class RimShape {
    kBand,      ///< a band of constant grey around the true radius
    kGaussian,  ///< a Gaussian line on it, the inside and the background meeting under its middle
    kNone,      ///< a plain disc
    kSphere,    ///< a disc whose grey follows the thickness of a sphere
};

/// Lengths in pixels, grey levels in units of a typical contrast; the background is 0.5 at the centre.
struct RimPhantom {
    RimShape shape = RimShape::kBand;
    double radiusPx = 25.0;  ///< the truth: of the rim's middle, or the plain edge
    double rimWidthPx = 3.0;
    double rim = -0.3;       ///< grey of the rim, relative to the background
    double inside = 0.1;     ///< grey of the inside, relative to the background
    double blurPx = 1.0;     ///< sigma
    double noise = 0.03;     ///< standard deviation of the Gaussian noise
    double gradientX = 0.0;  ///< of the background, across the image
    double gradientY = 0.0;
    int sizePx = 128;
    double centreX = 63.5;
    double centreY = 63.5;
    double pixelHeight = 1.0;  ///< in pixel widths; radii are in pixel widths
};

/// A phantom with everything drawn at random: radius 12 to 45 px, blur 0.6 to 2.5 px, noise 0.01 to 0.12, a background
/// that slopes by up to 0.1 per image, and rims 1.5 to 6 px wide, dark or bright.
inline RimPhantom RandomRimPhantom(std::mt19937& random, RimShape shape) {
    RimPhantom phantom;
    phantom.shape = shape;
    const auto draw = [&](double low, double high) { return low + (high - low) * UniformDouble(random); };
    phantom.radiusPx = draw(12.0, 45.0);
    phantom.rimWidthPx = std::min(draw(1.5, 6.0), 0.4 * phantom.radiusPx);
    const double sign = random() % 2 == 0 ? -1.0 : 1.0;
    phantom.rim = 0.3 * sign;
    phantom.inside = draw(-0.15, 0.15);
    if (shape == RimShape::kNone || shape == RimShape::kSphere) phantom.inside = sign * draw(0.2, 0.4);
    phantom.blurPx = draw(0.6, 2.5);
    phantom.noise = draw(0.01, 0.12);
    phantom.gradientX = draw(-0.1, 0.1);
    phantom.gradientY = draw(-0.1, 0.1);
    phantom.sizePx = 240;  // detection takes images of below 50,000 pixels for one object
    phantom.centreX = phantom.sizePx / 2.0 + draw(-0.5, 0.5);
    phantom.centreY = phantom.sizePx / 2.0 + draw(-0.5, 0.5);
    return phantom;
}

/// Grey at a distance from the centre, before blur.
inline double GreyAt(const RimPhantom& phantom, double distance) {
    const double fromRim = distance - phantom.radiusPx;
    const double share = distance / phantom.radiusPx;
    constexpr double kWidthOverSigma = 2.354820045;  // full width at half maximum
    switch (phantom.shape) {
        case RimShape::kBand:
            if (std::fabs(fromRim) <= phantom.rimWidthPx / 2.0) return phantom.rim;
            return fromRim < 0.0 ? phantom.inside : 0.0;
        case RimShape::kGaussian: {
            const double t = fromRim / phantom.rimWidthPx * kWidthOverSigma;
            return (fromRim < 0.0 ? phantom.inside : 0.0) + phantom.rim * std::exp(-0.5 * t * t);
        }
        case RimShape::kSphere:
            return share < 1.0 ? phantom.inside * std::sqrt(1.0 - share * share) : 0.0;
        case RimShape::kNone:
            break;
    }
    return fromRim < 0.0 ? phantom.inside : 0.0;
}

/// The phantom as a microscope would show it: 4 x 4 samples a pixel, blurred, on a sloping background, with noise.
inline qvox::VoxelImage<float> Render(const RimPhantom& phantom, std::mt19937& random) {
    constexpr int kSamples = 4;
    const int rows = static_cast<int>(std::ceil(phantom.sizePx / phantom.pixelHeight));
    cv::Mat map(rows, phantom.sizePx, CV_32F, cv::Scalar(0));
    for (int y = 0; y < rows; ++y) {
        for (int x = 0; x < phantom.sizePx; ++x) {
            double sum = 0.0;
            const double away = std::hypot(x - phantom.centreX, (y - phantom.centreY) * phantom.pixelHeight);
            if (away > phantom.radiusPx + 4.0 * phantom.rimWidthPx + 4.0) continue;
            for (int i = 0; i < kSamples * kSamples; ++i) {
                const double dx = x + (i % kSamples + 0.5) / kSamples - 0.5 - phantom.centreX;
                const double dy = y + (i / kSamples + 0.5) / kSamples - 0.5 - phantom.centreY;
                sum += GreyAt(phantom, std::hypot(dx, dy * phantom.pixelHeight));
            }
            map.at<float>(y, x) = static_cast<float>(sum / (kSamples * kSamples));
        }
    }
    if (phantom.blurPx > 0.0)
        cv::GaussianBlur(map, map, cv::Size(-1, -1), phantom.blurPx, phantom.blurPx / phantom.pixelHeight,
                         cv::BORDER_REPLICATE);
    qvox::VoxelImage<float> image;
    image.Resize(static_cast<std::uint64_t>(phantom.sizePx), static_cast<std::uint64_t>(rows), 1);
    for (int y = 0; y < rows; ++y) {
        for (int x = 0; x < phantom.sizePx; ++x) {
            const double slope = phantom.gradientX * (x / static_cast<double>(phantom.sizePx) - 0.5) +
                                 phantom.gradientY * (y / static_cast<double>(rows) - 0.5);
            const double noise = phantom.noise > 0.0 ? phantom.noise * Gaussian(random) : 0.0;
            image(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y)) =
                static_cast<float>(0.5 + static_cast<double>(map.at<float>(y, x)) + slope + noise);
        }
    }
    return image;
}

/// Label 1 as detection leaves it: inside the flank by up to a fifth of the radius, dented by up to 3 % of it.
inline qvox::LabelImage SmallLabel(const RimPhantom& phantom, std::mt19937& random) {
    const double rows = std::ceil(phantom.sizePx / phantom.pixelHeight);
    qvox::LabelImage labels;
    labels.Resize(static_cast<std::uint64_t>(phantom.sizePx), static_cast<std::uint64_t>(rows), 1);
    const bool hasRim = phantom.shape == RimShape::kBand || phantom.shape == RimShape::kGaussian;
    const double size =
        (phantom.radiusPx - (hasRim ? phantom.rimWidthPx / 2.0 : 0.0)) * (0.8 + 0.2 * UniformDouble(random));
    std::array<double, 3> dents{};
    std::array<double, 3> phases{};
    for (std::size_t i = 0; i < dents.size(); ++i) {
        dents[i] = 0.03 * UniformDouble(random);
        phases[i] = 6.283185307 * UniformDouble(random);
    }
    for (std::uint64_t y = 0; y < labels.SizeY(); ++y) {
        for (std::uint64_t x = 0; x < labels.SizeX(); ++x) {
            const double dx = static_cast<double>(x) - phantom.centreX;
            const double dy = (static_cast<double>(y) - phantom.centreY) * phantom.pixelHeight;
            const double angle = std::atan2(dy, dx);
            double reach = 1.0;
            for (std::size_t i = 0; i < dents.size(); ++i) {
                reach += dents[i] * std::cos(static_cast<double>(i + 2) * angle + phases[i]);
            }
            labels(x, y) = std::hypot(dx, dy) <= size * reach ? 1 : 0;
        }
    }
    return labels;
}

}  // namespace korvane_test

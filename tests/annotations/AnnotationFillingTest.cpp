#include "AnnotationFilling.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

#include "ToolkitError.h"

namespace {

using Korvane::FillAnnotations;
using Korvane::WidenMask;

template <typename Value>
qvox::VoxelImage<float> Made(std::uint64_t width, std::uint64_t height, Value value) {
    qvox::VoxelImage<float> image;
    image.Resize(width, height, 1);
    for (std::uint64_t y = 0; y < height; ++y) {
        for (std::uint64_t x = 0; x < width; ++x) {
            image(x, y) = static_cast<float>(value(static_cast<double>(x), static_cast<double>(y)));
        }
    }
    return image;
}

qvox::VoxelImage<bool> Box(std::uint64_t width, std::uint64_t height, std::uint64_t left, std::uint64_t top,
                           std::uint64_t right, std::uint64_t bottom) {
    qvox::VoxelImage<bool> mask;
    mask.Resize(width, height, 1);
    mask.Zero();
    for (std::uint64_t y = top; y < bottom; ++y) {
        for (std::uint64_t x = left; x < right; ++x) mask(x, y) = true;
    }
    return mask;
}

TEST(FillAnnotations, ContinuesAHarmonicFunctionExactly) {
    // x² - y² and its like are harmonic on the grid of pixels too.
    const auto value = [](double x, double y) { return 3.0 + 0.5 * x - 0.25 * y + 0.01 * (x * x - y * y) + 0.02 * x * y; };
    const qvox::VoxelImage<float> truth = Made(60, 50, value);
    const qvox::VoxelImage<bool> mask = Box(60, 50, 10, 12, 45, 30);
    qvox::VoxelImage<float> image = truth;
    for (std::uint64_t i = 0; i < image.VoxelCount(); ++i) {
        if (mask[i]) image[i] = 65535.0f;
    }
    FillAnnotations(image, mask);
    for (std::uint64_t i = 0; i < image.VoxelCount(); ++i) {
        if (mask[i]) {
            ASSERT_NEAR(image[i], truth[i], 1e-4) << i;
        } else {
            ASSERT_EQ(image[i], truth[i]) << i;
        }
    }
}

TEST(FillAnnotations, EachFilledPixelIsTheMeanOfItsNeighboursAlsoAtTheImagesEdge) {
    const auto value = [](double x, double y) { return std::sin(0.7 * x) * 100.0 + std::cos(1.3 * y) * 50.0; };
    // In two corners of the image: each of its edges is reached.
    for (const qvox::VoxelImage<bool>& mask : {Box(30, 20, 0, 12, 18, 20), Box(30, 20, 16, 0, 30, 7)}) {
        qvox::VoxelImage<float> image = Made(30, 20, value);
        FillAnnotations(image, mask);
        for (std::uint64_t y = 0; y < 20; ++y) {
            for (std::uint64_t x = 0; x < 30; ++x) {
                if (!mask(x, y)) continue;
                double sum = 0.0;
                double count = 0.0;
                const auto add = [&](std::uint64_t u, std::uint64_t v) {
                    sum += static_cast<double>(image(u, v));
                    count += 1.0;
                };
                if (x > 0) add(x - 1, y);
                if (x + 1 < 30) add(x + 1, y);
                if (y > 0) add(x, y - 1);
                if (y + 1 < 20) add(x, y + 1);
                ASSERT_NEAR(static_cast<double>(image(x, y)), sum / count, 1e-3) << x << ' ' << y;
            }
        }
    }
}

TEST(FillAnnotations, RefusesAMaskOfOtherSizesOrOverTheWholeImage) {
    qvox::VoxelImage<float> image = Made(10, 10, [](double x, double) { return x; });
    EXPECT_THROW(FillAnnotations(image, Box(9, 10, 1, 1, 2, 2)), qvox::ToolkitError);
    EXPECT_THROW(FillAnnotations(image, Box(10, 10, 0, 0, 10, 10)), qvox::ToolkitError);
    const qvox::VoxelImage<float> before = image;
    FillAnnotations(image, Box(10, 10, 3, 3, 3, 3));
    for (std::uint64_t i = 0; i < image.VoxelCount(); ++i) EXPECT_EQ(image[i], before[i]);
}

TEST(WidenMask, ReachesAsFarInAllDirectionsAndStaysInside) {
    const qvox::VoxelImage<bool> wide = WidenMask(Box(12, 9, 1, 4, 2, 5), 2);
    for (std::uint64_t y = 0; y < 9; ++y) {
        for (std::uint64_t x = 0; x < 12; ++x) EXPECT_EQ(wide(x, y), x <= 3 && y >= 2 && y <= 6) << x << ' ' << y;
    }
}

}  // namespace

#include "operations/GaussianSmoothing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <opencv2/imgproc.hpp>

#include "operations/GaussianSmoothingWith.h"
#include "reference/PlainGaussianSmoothing.h"
#include "support/TestImages.h"

using korvane_reference::PlainSmoothWithGaussian;
using korvane_test::SameVoxels;
using qvox::InstructionSet;
using qvox::SmoothWithGaussian;
using qvox::SmoothWithGaussianWith;

namespace {

using Image = qvox::VoxelImage<float>;
using Sizes = std::vector<std::pair<std::uint64_t, std::uint64_t>>;

Image Noise(std::mt19937& random, std::uint64_t width, std::uint64_t height, float low = -3.0f, float high = 40.0f) {
    Image image;
    image.Resize(width, height, 1);
    std::uniform_real_distribution<float> value(low, high);
    for (float& voxel : image) voxel = value(random);
    return image;
}

Image Smoothed(const Image& image, double sigma) {
    Image result;
    SmoothWithGaussian(image, result, sigma);
    return result;
}

Image PlainlySmoothed(const Image& image, double sigma) {
    Image result;
    PlainSmoothWithGaussian(image, result, sigma);
    return result;
}

const std::vector<double> kSigmas{0.01, 0.06, 0.0625, 0.1, 0.3, 0.5, 1.0, 1.5, 2.3, 3.0, 4.7, 7.9, 15.0, 33.3, 50.0};

TEST(GaussianSmoothing, EqualsThePlainFormBitForBitOverSizesAndSigmas) {
    std::mt19937 random(1);
    const std::vector<std::uint64_t> sides{1, 2, 3, 7, 16, 33};
    for (const std::uint64_t width : sides) {
        for (const std::uint64_t height : sides) {
            const Image image = Noise(random, width, height);
            for (const double sigma : kSigmas) {
                ASSERT_TRUE(SameVoxels(PlainlySmoothed(image, sigma), Smoothed(image, sigma)))
                    << width << " x " << height << ", sigma " << sigma;
            }
        }
    }
}

TEST(GaussianSmoothing, EqualsThePlainFormBitForBitInWideAndTallImages) {
    std::mt19937 random(2);
    for (const auto& [width, height] : Sizes{{63, 65}, {64, 17}, {65, 31}, {511, 9}, {512, 3}, {513, 40}, {1030, 18},
                                             {2500, 5}, {2048, 2}, {5000, 40}, {1, 700}, {3, 2100}, {130, 260}, {40, 600}}) {
        const Image image = Noise(random, width, height, 0.0f, 1.0f);
        for (const double sigma : {0.1, 1.0, 1.5, 3.1, 9.0, 50.0}) {
            ASSERT_TRUE(SameVoxels(PlainlySmoothed(image, sigma), Smoothed(image, sigma)))
                << width << " x " << height << ", sigma " << sigma;
        }
    }
}

TEST(GaussianSmoothing, EqualsThePlainFormBitForBitOverRandomSizesAndSigmas) {
    for (unsigned seed = 1; seed <= 300; ++seed) {
        std::mt19937 random(seed);
        const std::uint64_t width = 1 + random() % 150;
        const std::uint64_t height = 1 + random() % 90;
        const double sigma = std::exp(std::uniform_real_distribution<double>(std::log(0.1), std::log(50.0))(random));
        const Image image = Noise(random, width, height);
        ASSERT_TRUE(SameVoxels(PlainlySmoothed(image, sigma), Smoothed(image, sigma)))
            << width << " x " << height << ", sigma " << sigma << ", seed " << seed;
    }
}

cv::Mat View(Image& image) {
    return {static_cast<int>(image.SizeY()), static_cast<int>(image.SizeX()), CV_32F, image.begin()};
}

double LargestDifference(const Image& image, const cv::Mat& other) {
    double largest = 0.0;
    for (std::uint64_t i = 0; i < image.VoxelCount(); ++i) {
        const auto at = image.Coordinates(i);
        const double value = other.at<double>(static_cast<int>(at[1]), static_cast<int>(at[0]));
        largest = std::max(largest, std::fabs(static_cast<double>(image[i]) - value));
    }
    return largest;
}

/// OpenCV's smoothing, its sums in single or in double precision.
cv::Mat OpenCVSmoothed(Image image, double sigma, int type) {
    cv::Mat source;
    View(image).convertTo(source, type);
    // For double the library would choose the number of weights of other types.
    const int side = cvRound(sigma * 8 + 1) | 1;
    cv::Mat result;
    cv::GaussianBlur(source, result, cv::Size(type == CV_32F ? -1 : side, type == CV_32F ? -1 : side), sigma, sigma,
                     cv::BORDER_REFLECT_101);
    result.convertTo(source, CV_64F);
    return source;
}

// The intensities span 1. Sums in single precision leave both results some of its last places, 2^-24, from the exact one.
TEST(GaussianSmoothing, DiffersFromOpenCVByRoundingOnly) {
    constexpr double kLastPlace = 0x1p-24;
    std::mt19937 random(3);
    for (const auto& [width, height] : Sizes{{1, 1}, {2, 3}, {7, 40}, {33, 16}, {64, 100}, {600, 70}}) {
        Image image = Noise(random, width, height, 0.0f, 1.0f);
        for (const char* look : {"noise", "black and white"}) {
            for (const double sigma : kSigmas) {
                const Image ours = Smoothed(image, sigma);
                EXPECT_LE(LargestDifference(ours, OpenCVSmoothed(image, sigma, CV_64F)), 6 * kLastPlace)
                    << width << " x " << height << ", sigma " << sigma << ", " << look;
                EXPECT_LE(LargestDifference(ours, OpenCVSmoothed(image, sigma, CV_32F)), 16 * kLastPlace)
                    << width << " x " << height << ", sigma " << sigma << ", " << look;
            }
            std::transform(image.begin(), image.end(), image.begin(), [](float v) { return v < 0.5f ? 0.0f : 1.0f; });
        }
    }
}

TEST(GaussianSmoothing, GivesTheSameBitsWithEveryInstructionSet) {
    std::mt19937 random(4);
    for (const auto& [width, height] :
         Sizes{{1, 1}, {1, 40}, {40, 1}, {63, 90}, {128, 65}, {150, 220}, {600, 35}, {2500, 3}}) {
        const Image image = Noise(random, width, height);
        for (const double sigma : {0.1, 0.7, 1.5, 4.0, 20.0}) {
            Image baseline;
            SmoothWithGaussianWith(InstructionSet::kBaseline, image, baseline, sigma);
            for (const InstructionSet variant : {InstructionSet::kAvx2, InstructionSet::kAvx512}) {
                if (!qvox::RunsHere(variant)) continue;
                Image other;
                SmoothWithGaussianWith(variant, image, other, sigma);
                ASSERT_TRUE(SameVoxels(baseline, other))
                    << width << " x " << height << ", sigma " << sigma << ", variant " << static_cast<int>(variant);
            }
        }
    }
}

TEST(GaussianSmoothing, GivesTheSameBitsWhateverRunsItsParts) {
    std::mt19937 random(5);
    const Image image = Noise(random, 5000, 500);
    const Image expected = Smoothed(image, 3.0);
    const auto smoothedBy = [&](const qvox::PartRunner& run) {
        Image result;
        SmoothWithGaussian(image, result, 3.0, run);
        return result;
    };
    std::size_t parts = 0;
    const Image backwards = smoothedBy([&](std::size_t count, const std::function<void(std::size_t)>& part) {
        parts = count;
        for (std::size_t i = count; i-- > 0;) part(i);
    });
    EXPECT_GT(parts, 1u);
    EXPECT_TRUE(SameVoxels(expected, backwards));
    const Image atOnce = smoothedBy([](std::size_t count, const std::function<void(std::size_t)>& part) {
        std::vector<std::thread> threads;
        for (std::size_t i = 0; i < count; ++i) threads.emplace_back(part, i);
        for (std::thread& thread : threads) thread.join();
    });
    EXPECT_TRUE(SameVoxels(expected, atOnce));
}

TEST(GaussianSmoothing, AMirroredImageGivesTheMirroredBits) {
    std::mt19937 random(6);
    const Image image = Noise(random, 700, 50);
    const auto mirrored = [](const Image& source) {
        Image result(source);
        std::reverse(result.begin(), result.end());
        return result;
    };
    EXPECT_TRUE(SameVoxels(mirrored(Smoothed(image, 3.0)), Smoothed(mirrored(image), 3.0)));
}

TEST(GaussianSmoothing, TreatsPlanesOneByOneAndKeepsTheProperties) {
    std::mt19937 random(7);
    const Image first = Noise(random, 20, 30);
    const Image second = Noise(random, 20, 30, 1000.0f, 2000.0f);
    Image both;
    both.Resize(20, 30, 2);
    both.SetResolution({3.0f, 4.0f, 5.0f});
    std::copy(first.begin(), first.end(), both.Row(0, 0));
    std::copy(second.begin(), second.end(), both.Row(0, 1));
    const Image before = both;
    const Image smoothed = Smoothed(both, 2.0);
    EXPECT_TRUE(SameVoxels(before, both));
    const Image firstSmoothed = Smoothed(first, 2.0);
    const Image secondSmoothed = Smoothed(second, 2.0);
    EXPECT_TRUE(std::equal(firstSmoothed.begin(), firstSmoothed.end(), smoothed.Row(0, 0)));
    EXPECT_TRUE(std::equal(secondSmoothed.begin(), secondSmoothed.end(), smoothed.Row(0, 1)));
    EXPECT_EQ(smoothed.Resolution().y, 4.0f);
}

std::string Complaint(const Image& input, Image& output, double sigma) {
    try {
        SmoothWithGaussian(input, output, sigma);
    } catch (const qvox::ToolkitError& error) {
        return error.what();
    }
    return "";
}

TEST(GaussianSmoothing, RefusesWhatItCannotWorkWith) {
    Image image = korvane_test::Draw<float>({"12", "34"});
    Image output;
    EXPECT_EQ(Complaint(Image(), output, 1.0), "SmoothWithGaussian: the input image is empty (0 x 0 x 0).");
    EXPECT_EQ(Complaint(image, image, 1.0),
              "SmoothWithGaussian: the output is the input image itself (2 x 2 x 1); it must be another image.");
    EXPECT_EQ(Complaint(image, output, -1.0),
              "SmoothWithGaussian: the standard deviation must be above 0 and at most 100000 px, it is -1.000000.");
    for (const double bad : {0.0, 100001.0, std::numeric_limits<double>::quiet_NaN(),
                             std::numeric_limits<double>::infinity()}) {
        EXPECT_NE(Complaint(image, output, bad).find("standard deviation"), std::string::npos) << bad;
    }
    EXPECT_TRUE(output.Empty());
    EXPECT_TRUE(SameVoxels(korvane_test::Draw<float>({"12", "34"}), image));
}

}  // namespace

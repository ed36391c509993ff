#include "SeededSegmentation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>

#include "operations/Shape.h"
#include "reference/PlainSeededSegmentation.h"
#include "support/Phantoms.h"
#include "support/TestImages.h"

namespace {

using korvane_test::SameVoxels;
using qvox::LabelImage;
using qvox::VoxelImage;

constexpr float kReference = 672.0f;

VoxelImage<float> ToImage(const cv::Mat& map, float resolution) {
    VoxelImage<float> image({}, {resolution, resolution, 0.0f});
    image.Resize(static_cast<std::uint64_t>(map.cols), static_cast<std::uint64_t>(map.rows), 1);
    for (int y = 0; y < map.rows; ++y) {
        std::copy_n(map.ptr<float>(y), map.cols, image.Row(static_cast<std::uint64_t>(y)));
    }
    return image;
}

LabelImage EmptyLabels(const VoxelImage<float>& raw) {
    LabelImage labels;
    labels.CopyPropertiesFrom(raw);
    labels.Resize(raw.SizeX(), raw.SizeY(), 1);
    labels.Zero();
    return labels;
}

/// A bright disc on a dark ground, at the reference scale divided by ten.
constexpr float kResolution = kReference / 10.0f;  // the background keeps 10 pixels away from every seed
VoxelImage<float> DiscPicture(int cx, int cy, int radius, int size = 80) {
    cv::Mat map(size, size, CV_32F, cv::Scalar(10.0));
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x) {
            if ((x - cx) * (x - cx) + (y - cy) * (y - cy) <= radius * radius) map.at<float>(y, x) = 50.0f;
        }
    }
    return ToImage(map, kResolution);
}

std::uint64_t CountOf(const LabelImage& labels, std::uint16_t value) {
    return static_cast<std::uint64_t>(std::count(labels.begin(), labels.end(), value));
}

TEST(SeededSegmentationCases, EqualsThePlainFormOverPicturesSeedsAndDiameters) {
    for (std::uint32_t seed = 0; seed < 120; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        const int width = 1 + static_cast<int>(random() % 90);
        const int height = 1 + static_cast<int>(random() % 90);
        korvane_test::VesicleOptions look;
        look.count = 5;
        look.smallestRadiusPx = 5.0f;
        look.largestRadiusPx = 15.0f;
        const float resolution = kReference * (0.05f + 0.05f * static_cast<float>(seed % 12));
        const VoxelImage<float> raw = ToImage(korvane_test::Vesicles(seed, width, height, look), resolution);
        LabelImage labels = EmptyLabels(raw);
        for (int i = 0; i < 8; ++i) {
            const std::uint16_t values[] = {1, 2, 7, 300, 20000, 65535};
            const std::uint64_t x = random() % labels.SizeX();
            const std::uint64_t y = random() % labels.SizeY();
            const std::uint16_t value = values[random() % 6];
            labels(x, y) = value;
            if (x + 1 < labels.SizeX()) labels(x + 1, y) = value;
        }
        LabelImage plain(labels);
        const float diameterUm = 0.01f * static_cast<float>(random() % 20);
        korvane_reference::PlainSegmentFromSeeds(raw, plain, resolution, diameterUm);
        Korvane::SegmentFromSeeds(raw, labels, resolution, diameterUm);
        ASSERT_TRUE(SameVoxels(plain, labels)) << width << " x " << height << ", diameter " << diameterUm;
    }
}

TEST(SeededSegmentationCases, ADotGrowsIntoTheWholeObjectAndKeepsItsLabel) {
    const VoxelImage<float> raw = DiscPicture(40, 40, 8);
    LabelImage labels = EmptyLabels(raw);
    labels(39, 41) = 77;
    Korvane::SegmentFromSeeds(raw, labels, kResolution, 0.0f);
    const double expected = 3.141592653589793 * 8 * 8;
    EXPECT_NEAR(static_cast<double>(CountOf(labels, 77)), expected, 0.1 * expected);
    EXPECT_EQ(CountOf(labels, 77) + CountOf(labels, 0), labels.VoxelCount());
}

TEST(SeededSegmentationCases, ASeedOfBorderPixelsOnlyIsLost) {
    const VoxelImage<float> raw = DiscPicture(40, 40, 15);
    LabelImage labels = EmptyLabels(raw);
    labels(0, 20) = 5;
    labels(0, 21) = 5;
    labels(40, 40) = 6;
    Korvane::SegmentFromSeeds(raw, labels, kResolution, 0.0f);
    EXPECT_EQ(CountOf(labels, 5), 0u);
    EXPECT_GT(CountOf(labels, 6), 0u);
}

TEST(SeededSegmentationCases, ASeedThatReachesTheBorderLosesItsBorderPixels) {
    const VoxelImage<float> raw = DiscPicture(6, 40, 12);
    LabelImage labels = EmptyLabels(raw);
    for (std::uint64_t x = 0; x < 10; ++x) labels(x, 40) = 3;
    Korvane::SegmentFromSeeds(raw, labels, kResolution, 0.0f);
    EXPECT_EQ(labels(0, 40), 0);
    EXPECT_EQ(labels(1, 40), 3);
}

TEST(SeededSegmentationCases, ALabelEverywhereLeavesOnlyTheBorderToTheBackground) {
    const VoxelImage<float> raw = DiscPicture(20, 20, 8, 40);
    LabelImage labels = EmptyLabels(raw);
    std::fill(labels.begin(), labels.end(), std::uint16_t{4});
    Korvane::SegmentFromSeeds(raw, labels, kResolution, 0.0f);
    for (std::uint64_t i = 0; i < labels.VoxelCount(); ++i) ASSERT_EQ(labels[i], labels.OnBorder(i) ? 0 : 4) << i;
}

TEST(SeededSegmentationCases, ObjectsThatTouchAreMeasuredKeptAndRemovedTogether) {
    const VoxelImage<float> raw = DiscPicture(40, 40, 8);
    LabelImage seeds = EmptyLabels(raw);
    seeds(36, 40) = 1;
    seeds(44, 40) = 2;
    LabelImage labels(seeds);
    Korvane::SegmentFromSeeds(raw, labels, kResolution, 0.0f);
    const std::uint64_t first = CountOf(labels, 1);
    const std::uint64_t second = CountOf(labels, 2);
    ASSERT_GT(first, 0u);
    ASSERT_GT(second, 0u);
    const double pixelUm = 1.0 / static_cast<double>(kResolution);
    const auto diameterUm = [&](std::uint64_t pixels) {
        return std::sqrt(static_cast<double>(pixels) * pixelUm * pixelUm * 4.0 / 3.141592653589793);
    };
    const double larger = diameterUm(std::max(first, second));
    const double both = diameterUm(first + second);
    ASSERT_LT(larger, both);
    LabelImage kept(seeds);
    Korvane::SegmentFromSeeds(raw, kept, kResolution, static_cast<float>((larger + both) / 2));
    EXPECT_TRUE(SameVoxels(labels, kept));
    LabelImage removed(seeds);
    Korvane::SegmentFromSeeds(raw, removed, kResolution, static_cast<float>(both * 1.001));
    EXPECT_EQ(CountOf(removed, 0), removed.VoxelCount());
}

TEST(SeededSegmentationCases, AnObjectOfExactlyTheMinimumDiameterIsKept) {
    // The diameter holds the root of pi. For this size and resolution it happens to be exact in single precision.
    constexpr float resolution = 61.673893f;
    constexpr float diameterUm = 0.186582267f;
    const VoxelImage<float> raw = ToImage(cv::Mat(10, 15, CV_32F, cv::Scalar(10.0)), resolution);
    LabelImage labels = EmptyLabels(raw);
    std::fill(labels.begin(), labels.end(), std::uint16_t{4});
    LabelImage kept(labels);
    Korvane::SegmentFromSeeds(raw, kept, resolution, diameterUm);
    ASSERT_EQ(CountOf(kept, 4), 13u * 8u);
    const double pixelUm = 1.0 / static_cast<double>(resolution);
    ASSERT_EQ(qvox::EquivalentDiameter(13 * 8 * (pixelUm * pixelUm)), static_cast<double>(diameterUm));
    Korvane::SegmentFromSeeds(raw, labels, resolution, std::nextafter(diameterUm, 1.0f));
    EXPECT_EQ(CountOf(labels, 4), 0u);
}

TEST(SeededSegmentationCases, LabelsEqualToTheBackgroundMarkerAreLost) {
    const VoxelImage<float> raw = DiscPicture(40, 40, 15);
    LabelImage labels = EmptyLabels(raw);
    labels(40, 40) = 20000;
    Korvane::SegmentFromSeeds(raw, labels, kResolution, 0.0f);
    EXPECT_EQ(CountOf(labels, 0), labels.VoxelCount());
}

TEST(SeededSegmentationCases, RefusesLabelsOfAnotherSizeAndAnUndefinedPixelSize) {
    const VoxelImage<float> raw = DiscPicture(40, 40, 15);
    LabelImage labels;
    labels.Resize(3, 4, 1);
    try {
        Korvane::SegmentFromSeeds(raw, labels, kResolution, 0.0f);
        FAIL() << "labels of another size were taken";
    } catch (const qvox::ToolkitError& error) {
        EXPECT_STREQ(error.what(), "Seeded segmentation: the image has 80 x 80 pixels, the labels have 3 x 4.");
    }
    LabelImage good = EmptyLabels(raw);
    EXPECT_THROW(Korvane::SegmentFromSeeds(raw, good, 0.0f, 0.0f), qvox::ToolkitError);
}

}  // namespace

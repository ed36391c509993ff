#include "SeededSegmentation.h"

#include <algorithm>
#include <random>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "reference/PlainSeededSegmentation.h"
#include "support/Phantoms.h"
#include "support/TestImages.h"
#include "support/TestThreads.h"

namespace {

using korvane_test::SameVoxels;

constexpr float kResolution = 67.2f;

qvox::LabelImage Labels(std::uint64_t width, std::uint64_t height, float resolution = kResolution) {
    qvox::LabelImage labels({}, {resolution, resolution, 0.0f});
    labels.Resize(width, height, 1);
    labels.Zero();
    return labels;
}

void Fill(qvox::LabelImage& labels, std::uint64_t x0, std::uint64_t y0, std::uint64_t x1, std::uint64_t y1,
          std::uint16_t label) {
    for (std::uint64_t y = y0; y <= y1; ++y) std::fill(labels.Row(y) + x0, labels.Row(y) + x1 + 1, label);
}

std::int64_t Count(const qvox::LabelImage& labels, std::uint16_t label) {
    return std::count(labels.begin(), labels.end(), label);
}

/// A bright square of 16 x 16 pixels whose top left corner is (12, 12).
qvox::VoxelImage<float> Square() {
    cv::Mat map = cv::Mat::zeros(40, 40, CV_32FC1);
    map(cv::Rect(12, 12, 16, 16)).setTo(100.0f);
    return korvane_test::ToImage(map);
}

TEST(SeededSegmentation, EqualsThePlainFormOnAnyNumberOfThreads) {
    for (const auto& [width, height] :
         std::vector<std::pair<std::uint64_t, std::uint64_t>>{{1, 1}, {2, 40}, {33, 17}, {71, 95}}) {
        const auto raw =
            korvane_test::ToImage(korvane_test::SmoothNoise(9, static_cast<int>(width), static_cast<int>(height), 1.0));
        qvox::LabelImage seeds = Labels(width, height);
        for (std::uint64_t y = 8; y < height; y += 13) {
            for (std::uint64_t x = 5; x < width; x += 11) seeds(x, y) = static_cast<std::uint16_t>(x + y);
        }
        qvox::LabelImage expected(seeds);
        korvane_reference::PlainSegmentFromSeeds(raw, expected, kResolution, 0.05f);
        korvane_test::ForEachNumberOfThreads([&](unsigned threads, const qvox::PartRunner& run) {
            qvox::LabelImage actual(seeds);
            Korvane::SegmentFromSeeds(raw, actual, kResolution, 0.05f, run);
            EXPECT_TRUE(SameVoxels(expected, actual)) << raw.SizeX() << " x " << raw.SizeY() << " on " << threads;
        });
    }
}

TEST(SeededSegmentation, EqualsThePlainFormOnRandomSeeds) {
    for (std::uint32_t seed = 0; seed < 300; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        const auto width = 1 + random() % 50;
        const auto height = 1 + random() % 50;
        const qvox::VoxelImage<float> raw = korvane_test::ToImage(
            korvane_test::SmoothNoise(seed, static_cast<int>(width), static_cast<int>(height), seed % 4));
        const float resolution = seed % 2 == 0 ? kResolution : 20.0f;
        qvox::LabelImage expected = Labels(width, height, resolution);
        for (int blob = static_cast<int>(random() % 6); blob > 0; --blob) {
            const std::uint64_t x = random() % width;
            const std::uint64_t y = random() % height;
            Fill(expected, x, y, std::min<std::uint64_t>(x + random() % 4, width - 1),
                 std::min<std::uint64_t>(y + random() % 4, height - 1),
                 random() % 9 == 0 ? std::uint16_t{20000} : static_cast<std::uint16_t>(1 + random() % 300));
        }
        qvox::LabelImage actual(expected);
        const float smallest = static_cast<float>(random() % 4) * 0.05f;
        korvane_reference::PlainSegmentFromSeeds(raw, expected, resolution, smallest);
        Korvane::SegmentFromSeeds(raw, actual, resolution, smallest);
        ASSERT_TRUE(SameVoxels(expected, actual));
    }
}

TEST(SeededSegmentation, GrowsASeedToTheObjectsBorderAndKeepsItsLabel) {
    qvox::LabelImage labels = Labels(40, 40);
    Fill(labels, 18, 18, 20, 20, 731);
    Korvane::SegmentFromSeeds(Square(), labels, kResolution, 0.0f);
    EXPECT_NEAR(static_cast<double>(Count(labels, 731)), 256.0, 40.0);
    EXPECT_EQ(Count(labels, 0) + Count(labels, 731), 1600);
}

TEST(SeededSegmentation, LosesASeedThatConsistsOfBorderPixelsOnly) {
    qvox::LabelImage labels = Labels(40, 40);
    Fill(labels, 0, 10, 0, 20, 5);
    Fill(labels, 18, 18, 20, 20, 6);
    Korvane::SegmentFromSeeds(Square(), labels, kResolution, 0.0f);
    EXPECT_EQ(Count(labels, 5), 0);
    EXPECT_GT(Count(labels, 6), 0);
}

TEST(SeededSegmentation, TakesTheBorderPixelsOfASeedAwayAndKeepsTheRest) {
    qvox::LabelImage labels = Labels(40, 40);
    Fill(labels, 0, 10, 8, 20, 5);
    Korvane::SegmentFromSeeds(Square(), labels, kResolution, 0.0f);
    EXPECT_GT(Count(labels, 5), 0);
    for (std::uint64_t y = 0; y < 40; ++y) EXPECT_EQ(labels(0, y), 0);
}

TEST(SeededSegmentation, LeavesOnlyTheBorderAsBackgroundOfALabelEverywhere) {
    qvox::LabelImage labels = Labels(40, 40);
    Fill(labels, 0, 0, 39, 39, 9);
    Korvane::SegmentFromSeeds(Square(), labels, kResolution, 0.0f);
    EXPECT_EQ(Count(labels, 9), 38 * 38);
}

TEST(SeededSegmentation, RemovesNothingWithASmallestDiameterOfZero) {
    qvox::VoxelImage<float> flat = korvane_test::ToImage(korvane_test::Constant(40, 40, 1.0f));
    qvox::LabelImage labels = Labels(40, 40);
    labels(20, 20) = 3;
    Korvane::SegmentFromSeeds(flat, labels, kResolution, 0.0f);
    EXPECT_GT(Count(labels, 3), 0);
}

TEST(SeededSegmentation, MeasuresTouchingObjectsTogetherAndKeepsTheirLabels) {
    // Label 9 and 8 fill the inside, 38 x 38 px: at 1 px per um their diameter together is 42.9 um, 30.3 um each.
    for (const float smallest : {40.0f, 45.0f}) {
        qvox::LabelImage labels = Labels(40, 40, 1.0f);
        Fill(labels, 0, 0, 19, 39, 9);
        Fill(labels, 20, 0, 39, 39, 8);
        Korvane::SegmentFromSeeds(Square(), labels, 1.0f, smallest);
        EXPECT_EQ(Count(labels, 9), smallest < 42.0f ? 19 * 38 : 0);
        EXPECT_EQ(Count(labels, 8), smallest < 42.0f ? 19 * 38 : 0);
    }
}

TEST(SeededSegmentation, LosesALabelThatIsTheBackgroundMarkersOwn) {
    qvox::LabelImage labels = Labels(40, 40);
    Fill(labels, 18, 18, 20, 20, 20000);
    Korvane::SegmentFromSeeds(Square(), labels, kResolution, 0.0f);
    EXPECT_EQ(Count(labels, 0), 1600);
}

TEST(SeededSegmentation, TurnsEverythingToZeroWithoutASeed) {
    qvox::LabelImage labels = Labels(40, 40);
    Korvane::SegmentFromSeeds(Square(), labels, kResolution, 0.0f);
    EXPECT_EQ(Count(labels, 0), 1600);
}

TEST(SeededSegmentation, RefusesOtherSizesAndAnUndefinedPixelSizeAndLeavesTheLabels) {
    qvox::LabelImage labels = Labels(39, 40);
    labels(5, 5) = 7;
    EXPECT_THROW(Korvane::SegmentFromSeeds(Square(), labels, kResolution, 0.0f), qvox::ToolkitError);
    EXPECT_EQ(labels(5, 5), 7);
    qvox::LabelImage fitting = Labels(40, 40);
    EXPECT_THROW(Korvane::SegmentFromSeeds(Square(), fitting, 0.0f, 0.0f), qvox::ToolkitError);
    EXPECT_THROW(Korvane::SegmentFromSeeds(qvox::VoxelImage<float>(), fitting, kResolution, 0.0f), qvox::ToolkitError);
}

}  // namespace

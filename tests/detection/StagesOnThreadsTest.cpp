// Stages whose parts run on several threads, against their plain forms.

#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include "CandidateDetection.h"
#include "CandidateFilter.h"
#include "ClusterSeparation.h"
#include "DetectionDriver.h"
#include "EdgeMap.h"
#include "LabelBlobs.h"
#include "reference/PlainCandidateDetection.h"
#include "reference/PlainCandidateFilter.h"
#include "reference/PlainClusterSeparation.h"
#include "reference/PlainDetection.h"
#include "reference/PlainErosion.h"
#include "reference/PlainGradientMagnitude.h"
#include "reference/PlainLabelling.h"
#include "reference/PlainMatConversion.h"
#include "reference/PlainThreshold.h"
#include "support/GradientMagnitude.h"
#include "support/InputChecks.h"
#include "support/MarkerGrowth.h"
#include "support/MaskPictures.h"
#include "support/MatConversion.h"
#include "support/MatTools.h"
#include "support/Phantoms.h"
#include "support/Random.h"
#include "support/StageRecorder.h"
#include "support/TestImages.h"
#include "support/TestThreads.h"
#include "support/ValueRange.h"

namespace {

using korvane_test::ForEachNumberOfThreads;
using korvane_test::SameMaps;
using korvane_test::SameVoxels;

/// Odd ones, fewer rows than threads, fewer than a part has, and several parts.
const std::vector<cv::Size> kSizes{{1, 1}, {1, 2}, {40, 1}, {1, 40}, {17, 15}, {33, 31}, {64, 33}, {51, 97}};

TEST(StagesOnThreads, GradientIsThatOfThePlainForm) {
    for (const cv::Size& size : kSizes) {
        const cv::Mat noise = korvane_test::SmoothNoise(7, size.width, size.height, 1.0);
        qvox::VoxelImage<std::uint16_t> levels;
        Korvane::CopyToSixteenBit(noise, levels);
        cv::Mat asFloats(size, CV_32FC1);
        for (int y = 0; y < size.height; ++y) {
            for (int x = 0; x < size.width; ++x) {
                asFloats.at<float>(y, x) = levels(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y));
            }
        }
        ForEachNumberOfThreads([&](unsigned threads, const qvox::PartRunner& run) {
            SCOPED_TRACE(std::to_string(size.width) + " x " + std::to_string(size.height) + " on " +
                         std::to_string(threads));
            cv::Mat ofFloats;
            Korvane::GradientMagnitude(noise, ofFloats, run);
            ASSERT_TRUE(SameMaps(korvane_reference::PlainGradientMagnitude(noise), ofFloats));
            cv::Mat ofLevels;
            Korvane::GradientMagnitude(levels, ofLevels, run);
            ASSERT_TRUE(SameMaps(korvane_reference::PlainGradientMagnitude(asFloats), ofLevels));
            qvox::VoxelImage<std::uint16_t> again;
            Korvane::CopyToSixteenBit(noise, again, run);
            ASSERT_TRUE(SameVoxels(levels, again));
            double least = 0.0;
            double greatest = 0.0;
            cv::minMaxLoc(noise, &least, &greatest);
            const Korvane::ValueRange range = Korvane::FindValueRange(noise, run);
            EXPECT_EQ(range.minimum, least);
            EXPECT_EQ(range.maximum, greatest);
        });
    }
}

TEST(StagesOnThreads, TheFirstIntensityThatIsNoNumberIsNamed) {
    auto image = korvane_test::ToImage(korvane_test::SmoothNoise(7, 20, 70, 1.0));
    image(3, 65) = std::numeric_limits<float>::quiet_NaN();
    image(11, 40) = std::numeric_limits<float>::infinity();
    ForEachNumberOfThreads([&](unsigned threads, const qvox::PartRunner& run) {
        try {
            Korvane::CheckIntensities("Detection", image, run);
            FAIL() << threads;
        } catch (const qvox::ToolkitError& error) {
            EXPECT_NE(std::string(error.what()).find("column 11, row 40"), std::string::npos) << error.what();
        }
    });
}

TEST(StagesOnThreads, PercentileIsThatOfThePlainForm) {
    std::mt19937 random(4);
    // The last one is large enough for several histograms.
    for (const cv::Size& size : {cv::Size{1, 1}, cv::Size{30, 47}, cv::Size{1501, 2101}}) {
        cv::Mat edges(size, CV_32FC1);
        for (int y = 0; y < size.height; ++y) {
            for (int x = 0; x < size.width; ++x) edges.at<float>(y, x) = korvane_test::Uniform(random);
        }
        const float expected = korvane_reference::PlainPercentile(edges, 97.5);
        ForEachNumberOfThreads([&](unsigned threads, const qvox::PartRunner& run) {
            EXPECT_EQ(Korvane::EdgePercentile(edges, 97.5f, run), expected) << threads;
        });
    }
}

TEST(StagesOnThreads, FilterAndSeparationAreThoseOfThePlainForms) {
    for (std::uint32_t seed = 0; seed < 60; ++seed) {
        std::mt19937 random(seed);
        const cv::Mat mask = korvane_test::RandomMask(random, 90);
        const float scale = seed % 2 == 0 ? 0.3f : 1.0f;
        cv::Mat kept = cv::Mat::zeros(mask.size(), CV_8UC1);
        korvane_reference::PlainFilterCandidates(mask.clone(), kept, scale, 0.3f);
        cv::Mat regions;
        mask.convertTo(regions, CV_8UC1, 255.0);
        const cv::Mat separated = korvane_reference::PlainSeparateClusters(regions.clone(), scale);
        ForEachNumberOfThreads([&](unsigned threads, const qvox::PartRunner& run) {
            SCOPED_TRACE("seed " + std::to_string(seed) + " on " + std::to_string(threads));
            cv::Mat filtered = cv::Mat::zeros(mask.size(), CV_8UC1);
            Korvane::FilterCandidates(mask, filtered, scale, 0.3f, run);
            ASSERT_TRUE(SameMaps(kept, filtered));
            ASSERT_TRUE(SameMaps(separated, Korvane::SeparateClusters(regions, scale, run)));
        });
    }
}

TEST(StagesOnThreads, FilterAndSeparationOfManyRegionsAreThoseOfThePlainForms) {
    std::mt19937 random(77);
    cv::Mat mask = cv::Mat::zeros(151, 203, CV_32FC1);
    for (int disc = 0; disc < 90; ++disc) {
        korvane_test::PaintDisc(mask, korvane_test::UniformInt(random, 0, 202), korvane_test::UniformInt(random, 0, 150),
                                korvane_test::UniformInt(random, 1, 6), 1.0f);
    }
    cv::Mat kept = cv::Mat::zeros(mask.size(), CV_8UC1);
    korvane_reference::PlainFilterCandidates(mask.clone(), kept, 0.4f, 0.3f);
    const cv::Mat separated = korvane_reference::PlainSeparateClusters(kept.clone(), 0.4f);
    ForEachNumberOfThreads([&](unsigned threads, const qvox::PartRunner& run) {
        cv::Mat filtered = cv::Mat::zeros(mask.size(), CV_8UC1);
        Korvane::FilterCandidates(mask, filtered, 0.4f, 0.3f, run);
        ASSERT_TRUE(SameMaps(kept, filtered)) << threads;
        ASSERT_TRUE(SameMaps(separated, Korvane::SeparateClusters(kept, 0.4f, run))) << threads;
    });
}

TEST(StagesOnThreads, BackgroundMarkerIsThatOfThePlainSteps) {
    std::mt19937 random(12);
    for (const cv::Size& size : kSizes) {
        const auto width = static_cast<std::uint64_t>(size.width);
        const auto height = static_cast<std::uint64_t>(size.height);
        qvox::LabelImage labels;
        labels.Resize(width, height, 1);
        for (std::uint16_t& label : labels) label = korvane_test::UniformInt(random, 0, 99) == 0 ? 7 : 0;
        qvox::LabelImage expected = labels;
        const auto far = korvane_reference::PlainErosion(korvane_reference::PlainThreshold(labels, 0, 0), 5);
        for (std::uint64_t y = 0; y < height; ++y) {
            for (std::uint64_t x = 0; x < width; ++x) {
                const bool onBorder = x == 0 || y == 0 || x == width - 1 || y == height - 1;
                if (onBorder || far(x, y)) expected(x, y) = 20000;
            }
        }
        ForEachNumberOfThreads([&](unsigned threads, const qvox::PartRunner& run) {
            ASSERT_TRUE(SameVoxels(expected, Korvane::AddBackgroundMarker(labels, 5, run)))
                << size.width << " x " << size.height << " on " << threads;
        });
    }
}

TEST(StagesOnThreads, WholeDetectionIsThatOfThePlainForm) {
    std::vector<std::pair<qvox::VoxelImage<float>, float>> cases;
    for (const cv::Size& size : {cv::Size{2, 3}, cv::Size{41, 17}, cv::Size{33, 70}, cv::Size{1030, 20}}) {
        cases.emplace_back(korvane_test::ToImage(korvane_test::SmoothNoise(5, size.width, size.height, 1.0)), 100.0f);
    }
    cases.emplace_back(korvane_test::ToImage(korvane_test::Vesicles(35, 230, 121)), 168.0f);
    for (const auto& [raw, resolution] : cases) {
        korvane_test::StageRecorder expected;
        qvox::LabelImage expectedLabels({}, {resolution, resolution, 0.0f});
        korvane_reference::PlainDetectExosomes(raw, expectedLabels, {}, resolution, expected);
        ForEachNumberOfThreads([&, image = raw, pixelsPerUm = resolution](unsigned threads,
                                                                          const qvox::PartRunner& run) {
            SCOPED_TRACE(std::to_string(image.SizeX()) + " x " + std::to_string(image.SizeY()) + " on " +
                         std::to_string(threads));
            korvane_test::StageRecorder actual;
            qvox::LabelImage labels({}, {pixelsPerUm, pixelsPerUm, 0.0f});
            Korvane::DetectExosomes(image, labels, {}, pixelsPerUm, actual, run);
            ASSERT_TRUE(SameVoxels(expectedLabels, labels));
            EXPECT_EQ(expected.messages, actual.messages);
            for (const auto& [stage, map] : expected.floats) EXPECT_TRUE(SameVoxels(map, actual.floats.at(stage)));
            for (const auto& [stage, map] : expected.bytes) EXPECT_TRUE(SameVoxels(map, actual.bytes.at(stage)));
            for (const auto& [stage, map] : expected.labels) EXPECT_TRUE(SameVoxels(map, actual.labels.at(stage)));
        });
    }
}

}  // namespace

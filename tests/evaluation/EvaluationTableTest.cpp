#include "EvaluationTable.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <set>
#include <string>

#include "ToolkitError.h"
#include "evaluation/EvaluationPhantoms.h"

namespace Korvane {

namespace {

/// Ellipses in a row, each longer than the one before: a larger roundness threshold drops one after the other.
TrainingImage Ellipses(std::uint64_t width, std::uint64_t height) {
    TrainingImage result = korvane_test::DiscImage(3, {width, height, 0, 58, 336.0f, 0.04f});
    result.name = "ellipses.tif";
    result.truth.Zero();
    constexpr int kPlace = 90;
    for (std::uint64_t i = 0; i < result.image.VoxelCount(); ++i) {
        const int x = static_cast<int>(i % width);
        const int y = static_cast<int>(i / width);
        const int number = x / kPlace;
        const double dx = (x % kPlace - kPlace / 2) / (14.0 + 4.0 * number);
        const double dy = (y - static_cast<int>(height) / 2) / 14.0;
        if (dx * dx + dy * dy > 1.0) continue;
        result.image[i] += 1.0f;
        result.truth[i] = static_cast<std::uint16_t>(number + 1);
    }
    return result;
}

std::vector<TrainingImage> SomeImages() {
    std::vector<TrainingImage> images;
    images.push_back(Ellipses(450, 100));
    images.push_back(korvane_test::DiscImage(4));
    return images;
}

void ExpectSame(const Tally& tally, const Tally& expected) {
    EXPECT_EQ(tally.matched, expected.matched);
    EXPECT_EQ(tally.missed, expected.missed);
    EXPECT_EQ(tally.extra, expected.extra);
    EXPECT_EQ(tally.split, expected.split);
    EXPECT_EQ(tally.merged, expected.merged);
    EXPECT_EQ(tally.iouSum, expected.iouSum);
}

const std::vector<ParameterPoint> kPoints{{}, {100, 60, 15}, {120, 100, 30}};

TEST(EvaluationTable, HoldsForEveryThresholdWhatDetectionFindsAtIt) {
    const std::vector<TrainingImage> images = SomeImages();
    constexpr double kMatch = 0.6;
    EvaluationTable table(images, kMatch, qvox::RunOneByOne);
    table.Evaluate(kPoints, {0, 1});
    std::set<std::size_t> counts;
    for (std::size_t image = 0; image < images.size(); ++image) {
        SharedDetection detection(images[image].image, images[image].truth, images[image].image.Resolution().x);
        for (const ParameterPoint& point : kPoints) {
            for (int roundness = 0; roundness <= kLargestRoundness; ++roundness) {
                SCOPED_TRACE(images[image].name + ", roundness " + std::to_string(roundness));
                const AnalysisParameters parameters = ParametersAt(point, roundness);
                const Tally expected =
                    TallyAtRoundness(detection.Objects(parameters), parameters.roundnessThreshold, kMatch);
                ExpectSame(table.At(image, point)[static_cast<std::size_t>(roundness)], expected);
                if (image == 0) counts.insert(expected.matched + expected.extra);
            }
        }
    }
    EXPECT_GE(counts.size(), 4u) << "the thresholds drop too few of the ellipses one by one";
}

TEST(EvaluationTable, PoolsTheImagesThatAreAskedFor) {
    const std::vector<TrainingImage> images = SomeImages();
    EvaluationTable table(images, 0.5, qvox::RunOneByOne);
    table.Evaluate({ParameterPoint()}, {0, 1});
    Tally sum = table.At(0, {})[80];
    sum += table.At(1, {})[80];
    ExpectSame(table.Pooled({0, 1}, {}, 80), sum);
    ExpectSame(table.Pooled({1}, {}, 80), table.At(1, {})[80]);
    ExpectSame(table.Pooled({}, {}, 80), Tally());
}

TEST(EvaluationTable, OfEqualThresholdsTheNearestToTheDefaultIsBest) {
    const std::vector<TrainingImage> images = SomeImages();
    EvaluationTable table(images, 0.5, qvox::RunOneByOne);
    table.Evaluate(kPoints, {0, 1});
    for (const std::vector<std::size_t>& some : {std::vector<std::size_t>{0}, {1}, {0, 1}}) {
        for (const ParameterPoint& point : kPoints) {
            const PointScore best = table.Best(some, point, {});
            EXPECT_EQ(best.score, Score(table.Pooled(some, point, best.roundness), {}));
            for (int roundness = 0; roundness <= kLargestRoundness; ++roundness) {
                const double score = Score(table.Pooled(some, point, roundness), {});
                EXPECT_LE(score, best.score) << roundness;
                if (std::abs(roundness - kDefaultRoundness) < std::abs(best.roundness - kDefaultRoundness)) {
                    EXPECT_LT(score, best.score) << roundness;
                }
            }
        }
    }
}

TEST(EvaluationTable, EvaluatesEachPairOnce) {
    const std::vector<TrainingImage> images = SomeImages();
    EvaluationTable table(images, 0.5, qvox::RunOneByOne);
    EXPECT_EQ(table.ImageCount(), 2u);
    EXPECT_EQ(table.Evaluations(), 0u);
    table.Evaluate({kPoints[1], kPoints[1]}, {1});
    EXPECT_EQ(table.Evaluations(), 1u);
    EXPECT_EQ(table.Counts().edgeMaps, 1u);
    table.Evaluate({kPoints[0], kPoints[1]}, {0, 1});
    EXPECT_EQ(table.Evaluations(), 4u);
    EXPECT_EQ(table.Counts().edgeMaps, 2u);
    EXPECT_EQ(table.Counts().candidateMaps, 4u);
}

TEST(EvaluationTable, WhereDetectionRefusesAPointNothingWasFound) {
    // A scale that is only just accepted: twice as large is not.
    std::vector<TrainingImage> images{korvane_test::DiscImage(1, {32, 24, 0, 58, 600000.0f, 0.04f})};
    korvane_test::Square(images[0].image, 10, 8, 1.0f, 8);
    korvane_test::Square<std::uint16_t>(images[0].truth, 10, 8, 1, 8);
    const ParameterPoint refused{10, 100, 15};
    EvaluationTable table(images, 0.5, qvox::RunOneByOne);
    // The default is taken first, whatever the order.
    table.Evaluate({refused, ParameterPoint()}, {0});
    Tally nothing;
    nothing.missed = 1;
    for (const Tally& tally : table.At(0, refused)) ExpectSame(tally, nothing);
    EXPECT_EQ(table.Best({0}, refused, {}).roundness, kDefaultRoundness);
}

}  // namespace

}  // namespace Korvane

#include "SharedDetection.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "DetectionDriver.h"
#include "LabelComparison.h"
#include "ToolkitError.h"
#include "evaluation/EvaluationPhantoms.h"

namespace Korvane {

namespace {

using korvane_test::DiscImage;

qvox::LabelImage Detected(const TrainingImage& image, const AnalysisParameters& parameters) {
    qvox::LabelImage labels;
    labels.SetResolution(image.image.Resolution());
    DetectionObserver nobody;
    DetectExosomes(image.image, labels, parameters, image.image.Resolution().x, nobody);
    return labels;
}

std::vector<AnalysisParameters> SomeParameters() {
    std::vector<AnalysisParameters> all;
    for (const float size : {1.0f, 0.6f, 1.45f}) {
        for (const float cluster : {1.0f, 0.3f}) {
            for (const float area : {0.15f, 0.0f, 0.6f}) {
                for (const float roundness : {0.75f, 0.0f, 0.9f}) {
                    AnalysisParameters parameters;
                    parameters.relativeExosomeSize = size;
                    parameters.maxRelativeClusterSize = cluster;
                    parameters.areaFraction = area;
                    parameters.roundnessThreshold = roundness;
                    all.push_back(parameters);
                }
            }
        }
    }
    return all;
}

TEST(SharedDetection, GivesTheBitsOfDetectionInAnyOrder) {
    const TrainingImage image = DiscImage(3);
    std::vector<AnalysisParameters> order = SomeParameters();
    std::mt19937 random(11);
    korvane_test::Shuffle(random, order);
    SharedDetection shared(image.image, image.truth, 336.0f);
    std::size_t withObjects = 0;
    for (const AnalysisParameters& parameters : order) {
        const qvox::LabelImage expected = Detected(image, parameters);
        const qvox::LabelImage labels = shared.Labels(parameters);
        ASSERT_TRUE(std::equal(expected.begin(), expected.end(), labels.begin(), labels.end()))
            << parameters.relativeExosomeSize << ' ' << parameters.maxRelativeClusterSize << ' '
            << parameters.areaFraction << ' ' << parameters.roundnessThreshold;
        const Tally tally = TallyAtRoundness(shared.Objects(parameters), parameters.roundnessThreshold, 0.5);
        const Tally plain = TallyInside(FindOverlaps(image.truth, expected));
        EXPECT_EQ(tally.matched, plain.matched);
        EXPECT_EQ(tally.missed, plain.missed);
        EXPECT_EQ(tally.extra, plain.extra);
        EXPECT_EQ(tally.split, plain.split);
        EXPECT_EQ(tally.merged, plain.merged);
        EXPECT_EQ(tally.iouSum, plain.iouSum);
        withObjects += plain.matched + plain.extra > 0 ? 1u : 0u;
    }
    EXPECT_GT(withObjects, order.size() / 4) << "too few of the runs find anything";
}

TEST(SharedDetection, ComputesEachStepOnceForWhatItDependsOn) {
    const TrainingImage image = DiscImage(3);
    SharedDetection shared(image.image, image.truth, 336.0f);
    for (const AnalysisParameters& parameters : SomeParameters()) shared.Objects(parameters);
    EXPECT_EQ(shared.Counts().edgeMaps, 3u);
    EXPECT_EQ(shared.Counts().candidateMaps, 6u);
    EXPECT_LE(shared.Counts().grownImages, 18u);
}

TEST(SharedDetection, RefusesWhatDetectionRefuses) {
    TrainingImage image = DiscImage(3);
    EXPECT_THROW(SharedDetection(image.image, image.truth, 0.0f), qvox::ToolkitError);
    qvox::LabelImage other;
    other.Resize(3, 3, 1);
    other.Zero();
    EXPECT_THROW(SharedDetection(image.image, other, 672.0f), qvox::ToolkitError);
    std::fill(image.image.begin(), image.image.end(), 1.0f);
    EXPECT_THROW(SharedDetection(image.image, image.truth, 672.0f), qvox::ToolkitError);
}

}  // namespace

}  // namespace Korvane

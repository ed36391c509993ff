#include "Tuning.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <thread>

#include "DetectionDriver.h"
#include "ToolkitError.h"
#include "TuningText.h"
#include "evaluation/EvaluationPhantoms.h"

namespace Korvane {

namespace {

using korvane_test::DiscImage;
using korvane_test::DiscOptions;

/// Discs of fewer pixels than a candidate has at the default parameters.
std::vector<TrainingImage> SmallDiscs(unsigned count) {
    DiscOptions options;
    options.width = 150;
    options.height = 110;
    options.radiusPx = 5;
    options.spacingPx = 22;
    options.perUm = 672.0f;
    std::vector<TrainingImage> images;
    for (unsigned seed = 1; seed <= count; ++seed) images.push_back(DiscImage(seed, options));
    return images;
}

TuningOptions Few(std::size_t evaluations = 24) {
    TuningOptions options;
    options.evaluations = evaluations;
    return options;
}

bool Same(const AnalysisParameters& a, const AnalysisParameters& b) {
    return std::all_of(kParameterRanges.begin(), kParameterRanges.end(),
                       [&](const ParameterRange& range) { return a.*range.field == b.*range.field; });
}

TEST(Tuning, FindsTheParametersThatSmallVesiclesNeed) {
    const TuningResult result = TuneParameters(SmallDiscs(3), Few());
    EXPECT_LT(result.byDefault.mean, 0.5);
    EXPECT_GT(result.fittedScores.mean, 0.95);
    EXPECT_GT(result.heldOut.mean, 0.95);
    EXPECT_EQ(result.verdict, TuningVerdict::kTaken);
    EXPECT_GT(result.chosen.relativeExosomeSize, 1.1f);
    EXPECT_FALSE(result.HasFewImages());
    EXPECT_FALSE(result.effects.empty());
}

TEST(Tuning, FindsAgainWhatKnownParametersMade) {
    std::vector<TrainingImage> images = SmallDiscs(2);
    AnalysisParameters known;
    known.relativeExosomeSize = 1.3f;
    known.maxRelativeClusterSize = 0.2f;
    known.areaFraction = 0.2f;
    for (TrainingImage& image : images) {
        DetectionObserver nobody;
        DetectExosomes(image.image, image.truth, known, image.image.Resolution().x, nobody);
    }
    const TuningResult result = TuneParameters(images, Few(40));
    EXPECT_GT(result.objects, 20u);
    EXPECT_LT(result.byDefault.pooled, 0.5);
    EXPECT_GT(result.fittedScores.pooled, 0.95);
}

TEST(Tuning, KeepsTheDefaultWhereItIsAsGood) {
    std::vector<TrainingImage> images;
    for (unsigned seed = 1; seed <= 3; ++seed) images.push_back(DiscImage(seed));
    const TuningResult result = TuneParameters(images, Few(12));
    EXPECT_GT(result.byDefault.mean, 0.95);
    EXPECT_EQ(result.verdict, TuningVerdict::kWithinScatter);
    EXPECT_TRUE(Same(result.chosen, AnalysisParameters()));
    EXPECT_NE(VerdictText(result).find("The default parameters are kept"), std::string::npos);
}

TEST(Tuning, OneImageDoesNotTellWhatToExpect) {
    const TuningResult result = TuneParameters(SmallDiscs(1), Few(12));
    EXPECT_EQ(result.verdict, TuningVerdict::kUnknown);
    EXPECT_EQ(result.chosen.relativeExosomeSize, 1.0f);
    EXPECT_FALSE(TuningWarnings(result).empty());
}

TEST(Tuning, TheRunnerChangesNothing) {
    const std::vector<TrainingImage> images = SmallDiscs(3);
    TuningOptions options = Few(12);
    const TuningResult alone = TuneParameters(images, options);
    options.run = [](std::size_t count, const std::function<void(std::size_t)>& part) {
        std::vector<std::thread> threads;
        for (std::size_t i = count; i-- > 0;) threads.emplace_back([&part, i] { part(i); });
        for (std::thread& thread : threads) thread.join();
    };
    const TuningResult together = TuneParameters(images, options);
    EXPECT_TRUE(Same(alone.fitted, together.fitted));
    EXPECT_EQ(ScoreLines(alone, {}), ScoreLines(together, {}));
    EXPECT_EQ(ParameterLines(alone, {}), ParameterLines(together, {}));
    EXPECT_EQ(alone.evaluations, together.evaluations);
}

TEST(Tuning, EndsEarlyWhenItIsTold) {
    TuningOptions options = Few(100);
    int calls = 0;
    options.nextStep = [&calls](const TuningProgress& progress) {
        EXPECT_LE(progress.stepsDone, progress.steps);
        return ++calls < 2 ? TuningStep::kGoOn : TuningStep::kEndSearch;
    };
    const TuningResult result = TuneParameters(SmallDiscs(2), options);
    EXPECT_TRUE(result.wasEnded);
    EXPECT_LT(result.evaluations, 60u);
    EXPECT_NE(TuningWarnings(result).front().find("ended early"), std::string::npos);
}

TEST(Tuning, CanBeCancelled) {
    TuningOptions options = Few(100);
    int calls = 0;
    options.nextStep = [&calls](const TuningProgress&) {
        ++calls;
        return TuningStep::kCancel;
    };
    EXPECT_THROW(TuneParameters(SmallDiscs(2), options), TuningCancelled);
    EXPECT_EQ(calls, 1);
}

TEST(Tuning, AnImageThatCannotBeAnalysedIsNamed) {
    std::vector<TrainingImage> images = SmallDiscs(2);
    std::fill(images[1].image.begin(), images[1].image.end(), 0.0f);
    try {
        TuneParameters(images, Few(2));
        FAIL() << "accepted";
    } catch (const qvox::ToolkitError& error) {
        EXPECT_EQ(std::string(error.what()).rfind("'discs2.tif': ", 0), 0u) << error.what();
    }
    EXPECT_THROW(TuneParameters({}, Few(2)), qvox::ToolkitError);
}

TEST(GainOf, IsTheMeanWithItsStandardError) {
    const MeanGain gain = GainOf({0.1, 0.3, 0.2});
    EXPECT_DOUBLE_EQ(gain.mean, 0.2);
    EXPECT_NEAR(gain.standardError, 0.1 / std::sqrt(3.0), 1e-15);
    EXPECT_TRUE(gain.IsBeyondScatter());
    EXPECT_FALSE(GainOf({0.0, 0.0}).IsBeyondScatter());
    EXPECT_FALSE(GainOf({0.5, -0.5}).IsBeyondScatter());
}

}  // namespace

}  // namespace Korvane

#include "TuningText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace Korvane {

namespace {

const ParameterRange& RoundnessRange() {
    return *std::find_if(kParameterRanges.begin(), kParameterRanges.end(), [](const ParameterRange& range) {
        return range.field == &AnalysisParameters::roundnessThreshold;
    });
}

/// What is said of a lower threshold of roundness that finds `fitted` in place of `without`.
std::string LineOfRoundness(const Tally& without, const Tally& fitted) {
    TuningResult result;
    result.verdict = TuningVerdict::kTaken;
    result.images.push_back({"a", without, fitted, fitted, {}});
    result.effects.push_back({&RoundnessRange(), 0.75f, 0.5f, without});
    for (const std::string& line : ParameterLines(result, {})) {
        if (line.find("0.75 -> 0.5") != std::string::npos) return line;
    }
    return {};
}

TEST(TuningText, CountsWhatAParametersMoveChanges) {
    EXPECT_NE(LineOfRoundness({10, 5, 4, 0, 0, 0.0}, {12, 3, 7, 0, 0, 0.0})
                  .find("By itself: 2 more found and 3 more false, "),
              std::string::npos)
        << LineOfRoundness({10, 5, 4, 0, 0, 0.0}, {12, 3, 7, 0, 0, 0.0});
    EXPECT_NE(LineOfRoundness({10, 5, 4, 0, 0, 0.0}, {9, 6, 4, 0, 0, 0.0})
                  .find("By itself: 1 fewer found and as many false, "),
              std::string::npos);
}

TEST(TuningText, WarnsOfTooLittleToLearnFrom) {
    TuningResult result;
    result.images.resize(1);
    result.objects = 1;
    EXPECT_EQ(
        TuningWarnings(result),
        (std::vector<std::string>{
            "There is only 1 image to learn from; 3 or more show what to expect of others.",
            "There is only 1 object away from the images' edges; 30 or more are needed for scores to mean much."}));
    result.images.resize(2);
    result.objects = 29;
    EXPECT_EQ(TuningWarnings(result).at(0).substr(0, 24), "There are only 2 images ");
    EXPECT_EQ(TuningWarnings(result).at(1).substr(0, 26), "There are only 29 objects ");
    result.images.resize(3);
    result.objects = 30;
    EXPECT_TRUE(TuningWarnings(result).empty());
}

}  // namespace

}  // namespace Korvane

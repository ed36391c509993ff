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
    EXPECT_NE(LineOfRoundness({10, 5, 4, 0, 0, 0.0}, {12, 3, 7, 0, 0, 0.0}).find(
                  "By itself: 2 more found and 3 more false, "),
              std::string::npos)
        << LineOfRoundness({10, 5, 4, 0, 0, 0.0}, {12, 3, 7, 0, 0, 0.0});
    EXPECT_NE(LineOfRoundness({10, 5, 4, 0, 0, 0.0}, {9, 6, 4, 0, 0, 0.0}).find(
                  "By itself: 1 fewer found and as many false, "),
              std::string::npos);
}

}  // namespace

}  // namespace Korvane

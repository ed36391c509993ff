#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "CommandTable.h"
#include "ObjectMatching.h"
#include "OptionGroups.h"
#include "Scores.h"

namespace Korvane {

/// What is written where the default parameters are to be kept.
enum class UnprovenValues { kDefault, kLearnt };

struct TuneOptions {
    InputOptions input;
    std::string truth;  ///< folder of the true labels
    std::string output = "parameters.json";
    ExistingLabels existing = ExistingLabels::kSkip;
    UnprovenValues unproven = UnprovenValues::kDefault;
    ScoreChoice score;
    double threshold = kDefaultMatchThreshold;
    std::size_t evaluations = 200;
    std::optional<double> budgetSeconds;
    GivenPixelSize pixelSize;
    JobOptions jobs;
};

void AddTuneOptions(CLI::App& command, TuneOptions& options);

/// Learns the parameters from images with true labels and writes them as a parameters file.
int RunTune(const TuneOptions& options, const Streams& streams);

}  // namespace Korvane

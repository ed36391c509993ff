#pragma once

#include <cstddef>
#include <vector>

#include "EvaluationTable.h"
#include "Scores.h"

namespace Korvane {

/// The smallest diameter that seeded segmentation keeps, learnt for segmentation from what detection found.
struct SmallObjectResult {
    float limitUm = 0.0f;   ///< chosen: the best one, or the default
    float fittedUm = 0.0f;  ///< the best one
    double byDefault = 0.0;  ///< mean score of the images at the default
    double heldOut = 0.0;    ///< mean score of each image at the limit learnt from the others
    double gain = 0.0;
    double scatter = 0.0;
};

struct SmallObjectOptions {
    ScoreChoice score;
    double matchThreshold = 0.5;
    qvox::PartRunner run = qvox::RunOneByOne;
};

/// Segments each image from its labels with each of a row of limits and chooses by the same rules as TuneParameters.
SmallObjectResult LearnSmallObjectLimit(const std::vector<TrainingImage>& images,
                                        const std::vector<qvox::LabelImage>& labels,
                                        const SmallObjectOptions& options);

/// Mean of differences and the standard error of that mean; 0 for fewer than two.
struct MeanGain {
    double mean = 0.0;
    double standardError = 0.0;

    /// The rule by which learnt values replace defaults.
    bool IsBeyondScatter() const { return mean > standardError; }
};
MeanGain GainOf(const std::vector<double>& differences);

}  // namespace Korvane

#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "AnalysisParameters.h"
#include "EvaluationTable.h"
#include "ObjectMatching.h"
#include "Scores.h"
#include "SmallObjectLimit.h"
#include "operations/PartRunner.h"

namespace Korvane {

/// Fewer images or objects than these tell little about new images.
inline constexpr std::size_t kEnoughImages = 3;
inline constexpr std::size_t kEnoughObjects = 30;

/// How far a search is, for a person.
struct TuningProgress {
    std::size_t stepsDone = 0;
    std::size_t steps = 0;
    std::string text;  ///< that a search learns from: "all images", "all but 'a.tif'"
};

/// Whether and how a search goes on.
enum class TuningStep {
    kGoOn,
    kEndSearch,  ///< the search takes the best so far, the next one begins: TuningResult::wasEnded
    kCancel,     ///< TuneParameters throws TuningCancelled
};

struct TuningCancelled {};

struct TuningOptions {
    ScoreChoice score;
    double matchThreshold = kDefaultMatchThreshold;
    std::size_t evaluations = 200;  ///< of each image, in each search
    double designShare = 0.6;       ///< see SearchOptions
    /// Called on the calling thread between batches of evaluations.
    std::function<TuningStep(const TuningProgress&)> nextStep = [](const TuningProgress&) { return TuningStep::kGoOn; };
    qvox::PartRunner run = qvox::RunOneByOne;  ///< runs images
};

/// One image's part in the tuning.
struct TunedImage {
    std::string name;
    Tally byDefault;
    Tally fitted;
    Tally heldOut;                          ///< with the parameters learnt from the other images
    AnalysisParameters heldOutParameters;  ///< these
};

/// Scores of all images under one choice of parameters.
struct TuningScores {
    double pooled = 0.0;  ///< of the tallies' sum
    double mean = 0.0;    ///< of the images' own scores
};

enum class TuningVerdict {
    kTaken,          ///< the learnt parameters are better on images that they were not learnt from
    kWithinScatter,  ///< they are not, or by less than their scatter: the defaults are kept
    kUnknown,        ///< there is one image only: the defaults are kept
};

/// What one parameter's change does, all others as they were learnt.
struct ParameterEffect {
    const ParameterRange* parameter = nullptr;
    float from = 0.0f;  ///< the default
    float to = 0.0f;
    Tally without;  ///< all images together, with this parameter at its default
};

struct TuningResult {
    AnalysisParameters fitted;  ///< learnt from all images
    AnalysisParameters chosen;  ///< these or, as the verdict says, the defaults
    TuningVerdict verdict = TuningVerdict::kUnknown;
    std::vector<TunedImage> images;
    TuningScores byDefault;
    TuningScores fittedScores;
    TuningScores heldOut;   ///< expected of new images; without meaning for one image
    double gain = 0.0;      ///< mean over the images of held out - default
    double scatter = 0.0;   ///< standard error of that mean
    std::size_t objects = 0;  ///< true ones that are not at an edge
    std::vector<ParameterEffect> effects;  ///< of the parameters that moved
    SmallObjectResult smallObjects;
    std::size_t evaluations = 0;  ///< images times points that were computed
    StepCounts steps;             ///< that these took
    bool wasEnded = false;        ///< by nextStep: less was searched than asked for

    bool HasFewImages() const { return images.size() < kEnoughImages; }
    bool HasFewObjects() const { return objects < kEnoughObjects; }
};

/// Learns the parameters of detection from images with true labels: searches for the best score of all images together,
/// and once more for each image without it (leave-one-out cross-validation; Stone 1974), whose score there tells what
/// to expect of new images. The learnt parameters are chosen when the mean gain over the default on images that were
/// held out is larger than its standard error. minObjectDiameterUm, which only seeded segmentation reads, is learnt
/// afterwards (SmallObjectLimit.h). edgeContrast stays: no result depends on it.
/// The same images in the same order and the same number of evaluations give the same result for any runner.
/// Objects at the image's edge take no part. Throws ToolkitError for no image, and as DetectExosomes with the image's
/// name; TuningCancelled.
TuningResult TuneParameters(const std::vector<TrainingImage>& images, const TuningOptions& options);

}  // namespace Korvane

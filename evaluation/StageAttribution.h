#pragma once

#include <vector>

#include "AnalysisParameters.h"
#include "LabelComparison.h"
#include "VoxelImage.h"
#include "operations/PartRunner.h"

namespace Korvane {

/// The stage of detection that made a mistake.
enum class FaultyStage {
    kCandidates,  ///< missed: never a candidate; extra: a candidate where no object is
    kFilter,      ///< missed: its candidate was filtered out; no extra object is made here
    kSeparation,  ///< missed: no blob of its own was left of it; extra: one of several blobs in an object, or a blob of
                  ///< several objects
    kRefinement,  ///< a blob of one object did not grow to its border, or was dropped as not round
};

/// "never a candidate" and the like for a missed object, "cut apart or merged in separation" and the like for an extra
/// one.
const char* MissedText(FaultyStage stage);
const char* ExtraText(FaultyStage stage);
/// One word each, for tables: "candidates", "filter", "separation", "refinement".
const char* StageWord(FaultyStage stage);

/// A stage per missed and per extra object, in their order in the matching.
struct StageAttribution {
    std::vector<FaultyStage> missed;
    std::vector<FaultyStage> extra;
};

/// What detection's stages leave for those that come after; all of the image's sizes.
struct StageMaps {
    qvox::VoxelImage<bool> candidates;
    qvox::VoxelImage<bool> filtered;
    qvox::VoxelImage<bool> blobs;
    qvox::LabelImage labels;  ///< the result
};

/// Runs detection and keeps what its stages make. Throws as DetectExosomes.
StageMaps DetectWithStages(const qvox::VoxelImage<float>& raw, const AnalysisParameters& parameters, float xResolution,
                           const qvox::PartRunner& run);

/// A true object is a candidate, and kept by the filter, while at least kCoveredShare of its pixels are; it has a blob
/// when more than half of one's pixels lie in it. The first stage that has it no longer lost it; without the refinement
/// separation is the last.
/// An extra object whose blob lies mostly outside of true objects is a candidate's. One whose blob takes in the middle
/// of several, or shares its true object with other blobs, is separation's. The rest grew wrongly.
StageAttribution AttributeToStages(const LabelComparison& comparison, const qvox::LabelImage& truth,
                                   const qvox::LabelImage& found, const StageMaps& maps, float roundnessThreshold);

inline constexpr double kCoveredShare = 0.25;

}  // namespace Korvane

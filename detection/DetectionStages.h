#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace Korvane {

/// The stages of detection, in the order in which they are made; each has its row in kDetectionStages. Most leave a map
/// that the next one starts from.
enum class DetectionStage {
    kEdges,       ///< edge strength, 0 .. 1, float
    kCandidates,  ///< codes 0, 2 (candidate), 3 (separating ring), float
    kFiltered,    ///< 255 on kept candidate regions, 8 bit
    kSeparated,   ///< 1 on one blob per object, float
    kLabelled,    ///< the blobs numbered; its map is the result itself
    kRelief,      ///< gradient magnitude under the refinement's watershed, float; not announced
    kMarkers,     ///< the refinement's markers and kBackgroundMarker, 16 bit; not announced
    kRefined,     ///< the objects grown to their borders; its map is the result itself
};

enum class StageRuns {
    kAlways,
    kInRefinement,  ///< only where the refinement runs
};

/// What the programs need to know of a stage to show and to store it.
struct DetectionStageRow {
    DetectionStage stage;
    std::string_view filePrefix;  ///< of the file of its map; empty: the stage has no map of its own
    std::string_view text;        ///< for people; empty: the stage is not announced
    StageRuns runs;
};

inline constexpr std::array kDetectionStages{
    DetectionStageRow{DetectionStage::kEdges, "edges_", "preprocessing", StageRuns::kAlways},
    DetectionStageRow{DetectionStage::kCandidates, "candidates_", "detection of exosomes", StageRuns::kAlways},
    DetectionStageRow{DetectionStage::kFiltered, "filtered_", "filtering candidates", StageRuns::kAlways},
    DetectionStageRow{DetectionStage::kSeparated, "separated_", "cluster separation", StageRuns::kAlways},
    DetectionStageRow{DetectionStage::kLabelled, "", "finalizing", StageRuns::kAlways},
    DetectionStageRow{DetectionStage::kRelief, "relief_", "", StageRuns::kInRefinement},
    DetectionStageRow{DetectionStage::kMarkers, "markers_", "", StageRuns::kInRefinement},
    DetectionStageRow{DetectionStage::kRefined, "", "finalization", StageRuns::kInRefinement},
};

constexpr const DetectionStageRow& RowOf(DetectionStage stage) {
    return kDetectionStages[static_cast<std::size_t>(stage)];
}

constexpr bool StageRowsAreInOrder() {
    for (std::size_t i = 0; i < kDetectionStages.size(); ++i) {
        if (static_cast<std::size_t>(kDetectionStages[i].stage) != i) return false;
    }
    return true;
}
static_assert(StageRowsAreInOrder(), "kDetectionStages needs one row per stage, in the order of DetectionStage");

/// How many stages are announced in a run without and with the refinement.
constexpr int AnnouncedStages(StageRuns upTo) {
    int count = 0;
    for (const DetectionStageRow& row : kDetectionStages) {
        const bool runs = row.runs == StageRuns::kAlways || upTo == StageRuns::kInRefinement;
        if (runs && !row.text.empty()) ++count;
    }
    return count;
}

/// Steps by which one position advances the progress; the refinement adds a sixth that this count leaves out.
inline constexpr int kProgressStepsPerPosition = AnnouncedStages(StageRuns::kAlways);

}  // namespace Korvane

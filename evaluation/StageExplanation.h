#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "AnalysisParameters.h"
#include "DetectionObserver.h"
#include "LabelComparison.h"
#include "StageAttribution.h"
#include "VoxelImage.h"
#include "operations/PartRunner.h"

namespace Korvane {

/// What each stage of detection left, kept small: nine bytes per pixel. All maps have the image's sizes; relief and
/// markers are empty where the refinement is off.
struct StageRecord {
    qvox::VoxelImage<std::uint8_t> edges;       ///< edge strength, 0 .. 1 as 0 .. 255
    qvox::VoxelImage<std::uint8_t> candidates;  ///< codes of the candidate map
    qvox::VoxelImage<std::uint8_t> filtered;    ///< 0, 255
    qvox::VoxelImage<std::uint8_t> separated;   ///< 0, 1
    qvox::VoxelImage<std::uint8_t> relief;      ///< from 0 to its largest value as 0 .. 255
    qvox::LabelImage markers;
    qvox::LabelImage found;  ///< the result
    AnalysisParameters parameters;
    float xResolution = 0.0f;
};

/// Runs detection and keeps what its stages leave. `progress` is notified as of any detection, but gets no maps.
/// Throws as DetectExosomes.
StageRecord RecordStages(const qvox::VoxelImage<float>& raw, const AnalysisParameters& parameters, float xResolution,
                         DetectionObserver& progress, const qvox::PartRunner& run);

/// Says why an object was found or lost, in one or two sentences for a person.
class StageExplanation {
public:
    /// Compares the labels with what was found; both have the same sizes.
    StageExplanation(StageRecord record, const qvox::LabelImage& labels);

    const StageRecord& Record() const { return record_; }

    /// About the object of a label, by the rules of AttributeToStages; a label that does not occur is "not there".
    std::string OfObject(std::uint16_t label) const;
    /// About a pixel that has no label. Cost: at worst a pass over the image.
    std::string OfPlace(std::uint64_t x, std::uint64_t y) const;

private:
    /// A connected region of a mask, 8 neighbours each.
    struct Region {
        std::uint64_t pixels = 0;
        std::vector<std::uint16_t> found;  ///< labels of the result in it, ascending
        bool hasBlob = false;
    };
    struct Shares {
        std::uint64_t pixels = 0;
        std::uint64_t candidates = 0;
        std::uint64_t lostCandidate = 0;  ///< index of a pixel of the region that holds most of what the filter took
    };

    template <typename Holds>
    Region RegionAt(std::uint64_t start, Holds holds, std::vector<bool>& isInside) const;
    Region CandidateRegionAt(std::uint64_t start, std::vector<bool>& isInside) const;
    void ChooseLostCandidates(const qvox::LabelImage& labels);
    std::string WhyFilteredOut(std::uint64_t candidate) const;
    std::string WhyLost(std::uint16_t label, FaultyStage stage) const;
    std::string WhyNotKept(const Region& region) const;

    StageRecord record_;
    LabelComparison comparison_;
    std::map<std::uint16_t, FaultyStage> lostAt_;
    std::map<std::uint16_t, std::pair<std::uint16_t, double>> matched_;  ///< label: found label, overlap
    std::map<std::uint16_t, Shares> shares_;
    std::map<std::uint16_t, FaultyStage> extra_;  ///< of found labels
};

}  // namespace Korvane

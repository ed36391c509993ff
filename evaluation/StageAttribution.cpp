#include "StageAttribution.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>

#include "ComponentImage.h"
#include "DetectionDriver.h"
#include "NominalSizes.h"
#include "operations/Labelling.h"

namespace Korvane {

namespace {

/// Takes the maps that matter from detection.
class MapKeeper final : public DetectionObserver {
public:
    explicit MapKeeper(StageMaps& maps) : maps_(maps) {}

    bool WantsStage(DetectionStage stage) override {
        return stage == DetectionStage::kCandidates || stage == DetectionStage::kFiltered ||
               stage == DetectionStage::kSeparated;
    }
    void StageFloat(DetectionStage stage, const qvox::VoxelImage<float>& map) override {
        if (stage == DetectionStage::kCandidates) {
            Keep(map, maps_.candidates, [](float code) { return code == kCandidateCode; });
        } else {
            Keep(map, maps_.blobs, [](float value) { return value > 0.0f; });
        }
    }
    void StageByte(DetectionStage /*stage*/, const qvox::VoxelImage<std::uint8_t>& map) override {
        Keep(map, maps_.filtered, [](std::uint8_t code) { return code != 0; });
    }

private:
    template <typename T, typename Holds>
    static void Keep(const qvox::VoxelImage<T>& map, qvox::VoxelImage<bool>& kept, Holds holds) {
        kept.Resize(map.SizeX(), map.SizeY(), 1);
        std::transform(map.begin(), map.end(), kept.begin(), holds);
    }

    StageMaps& maps_;
};

/// Per label, how many of its pixels a map holds.
std::vector<std::uint64_t> Covered(const qvox::LabelImage& labels, const qvox::VoxelImage<bool>& map) {
    std::vector<std::uint64_t> pixels(65536, 0);
    for (std::uint64_t i = 0; i < labels.VoxelCount(); ++i) {
        if (map[i]) ++pixels[labels[i]];
    }
    return pixels;
}

/// A blob with what lies under it.
struct Blob {
    std::uint64_t pixels = 0;
    std::map<std::uint16_t, std::uint64_t> onTruth;  ///< pixels by label, 0 for none
    std::map<std::uint16_t, std::uint64_t> onFound;
};

std::vector<Blob> BlobsOf(const StageMaps& maps, const qvox::LabelImage& truth, const qvox::LabelImage& found) {
    qvox::LabelImage mask;
    mask.Resize(maps.blobs.SizeX(), maps.blobs.SizeY(), 1);
    std::transform(maps.blobs.begin(), maps.blobs.end(), mask.begin(),
                   [](bool set) { return static_cast<std::uint16_t>(set); });
    qvox::ComponentImage components;
    qvox::LabelForegroundRegions(components, mask, qvox::Neighbourhood8{});
    std::vector<Blob> blobs(components.Components().size());
    const qvox::LabelImage& numbers = components.Identifiers();
    for (std::uint64_t i = 0; i < numbers.VoxelCount(); ++i) {
        if (numbers[i] == 0) continue;
        Blob& blob = blobs[numbers[i] - 1u];
        ++blob.pixels;
        ++blob.onTruth[truth[i]];
        ++blob.onFound[found[i]];
    }
    return blobs;
}

/// The label that holds more than half of a blob; 0 without one.
std::uint16_t HolderOf(const Blob& blob, const std::map<std::uint16_t, std::uint64_t>& on) {
    for (const auto& [label, pixels] : on) {
        if (pixels * 2 > blob.pixels) return label;
    }
    return 0;
}

/// Blobs by the true object that holds them, and by the found object that grew from them.
struct BlobIndex {
    std::map<std::uint16_t, std::size_t> countInTruth;
    std::map<std::uint16_t, std::vector<const Blob*>> ofFound;
};

BlobIndex IndexOf(const std::vector<Blob>& blobs) {
    BlobIndex index;
    for (const Blob& blob : blobs) {
        if (const std::uint16_t truth = HolderOf(blob, blob.onTruth)) ++index.countInTruth[truth];
        if (const std::uint16_t found = HolderOf(blob, blob.onFound)) index.ofFound[found].push_back(&blob);
    }
    return index;
}

FaultyStage StageOfExtra(const LabelComparison& comparison, std::size_t found, const BlobIndex& index) {
    const std::vector<std::size_t>& merged = comparison.matching.merged;
    if (std::binary_search(merged.begin(), merged.end(), found)) return FaultyStage::kSeparation;
    const auto grown = index.ofFound.find(comparison.objects.found[found].label);
    if (grown == index.ofFound.end()) return FaultyStage::kRefinement;
    bool isOnTruth = false;
    for (const Blob* const blob : grown->second) {
        const std::uint16_t truth = HolderOf(*blob, blob->onTruth);
        if (truth == 0) continue;
        isOnTruth = true;
        if (index.countInTruth.at(truth) > 1) return FaultyStage::kSeparation;
    }
    return isOnTruth ? FaultyStage::kRefinement : FaultyStage::kCandidates;
}

}  // namespace

const char* MissedText(FaultyStage stage) {
    switch (stage) {
        case FaultyStage::kCandidates:
            return "never a candidate";
        case FaultyStage::kFilter:
            return "filtered out";
        case FaultyStage::kSeparation:
            return "lost in cluster separation";
        case FaultyStage::kRefinement:
            break;
    }
    return "lost in the refinement";
}

const char* ExtraText(FaultyStage stage) {
    switch (stage) {
        case FaultyStage::kCandidates:
            return "a candidate where nothing is";
        case FaultyStage::kFilter:
            return "filtered";
        case FaultyStage::kSeparation:
            return "cut or merged in cluster separation";
        case FaultyStage::kRefinement:
            break;
    }
    return "grown wrongly in the refinement";
}

const char* StageWord(FaultyStage stage) {
    switch (stage) {
        case FaultyStage::kCandidates:
            return "candidates";
        case FaultyStage::kFilter:
            return "filter";
        case FaultyStage::kSeparation:
            return "separation";
        case FaultyStage::kRefinement:
            break;
    }
    return "refinement";
}

StageMaps DetectWithStages(const qvox::VoxelImage<float>& raw, const AnalysisParameters& parameters, float xResolution,
                           const qvox::PartRunner& run) {
    StageMaps maps;
    MapKeeper keeper(maps);
    maps.labels.SetResolution(raw.Resolution());
    DetectExosomes(raw, maps.labels, parameters, xResolution, keeper, run);
    return maps;
}

StageAttribution AttributeToStages(const LabelComparison& comparison, const qvox::LabelImage& truth,
                                   const qvox::LabelImage& found, const StageMaps& maps, float roundnessThreshold) {
    const std::vector<std::uint64_t> candidates = Covered(truth, maps.candidates);
    const std::vector<std::uint64_t> kept = Covered(truth, maps.filtered);
    const std::vector<Blob> blobs = BlobsOf(maps, truth, found);
    const BlobIndex index = IndexOf(blobs);
    const FaultyStage last = roundnessThreshold > 0.0f ? FaultyStage::kRefinement : FaultyStage::kSeparation;
    StageAttribution result;
    for (const std::size_t missed : comparison.matching.missed) {
        const EvaluatedObject& object = comparison.objects.truth[missed];
        const double needed = kCoveredShare * static_cast<double>(object.pixels);
        FaultyStage stage = last;
        if (static_cast<double>(candidates[object.label]) < needed) {
            stage = FaultyStage::kCandidates;
        } else if (static_cast<double>(kept[object.label]) < needed) {
            stage = FaultyStage::kFilter;
        } else if (const auto blobsIn = index.countInTruth.find(object.label);
                   blobsIn == index.countInTruth.end() || blobsIn->second > 1) {
            // None is left of it, or it was cut into several.
            stage = FaultyStage::kSeparation;
        }
        result.missed.push_back(stage);
    }
    for (const std::size_t extra : comparison.matching.extra) {
        const FaultyStage stage = StageOfExtra(comparison, extra, index);
        result.extra.push_back(stage == FaultyStage::kRefinement ? last : stage);
    }
    return result;
}

}  // namespace Korvane

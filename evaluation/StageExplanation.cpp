#include "StageExplanation.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <utility>

#include "CandidateFilter.h"
#include "DetectionDriver.h"
#include "NominalSizes.h"
#include "support/InputChecks.h"

namespace Korvane {

namespace {

/// Keeps every map, and hands notifications on.
class StageKeeper final : public DetectionObserver {
public:
    StageKeeper(StageRecord& record, DetectionObserver& progress) : record_(record), progress_(progress) {}

    int ProgressValue() override { return progress_.ProgressValue(); }
    void BeginStage(DetectionStage stage, const StageProgress& progress) override {
        progress_.BeginStage(stage, progress);
    }
    void Trace(const std::string& line) override { progress_.Trace(line); }
    bool WantsStage(DetectionStage stage) override { return !RowOf(stage).filePrefix.empty(); }

    void StageFloat(DetectionStage stage, const qvox::VoxelImage<float>& map) override {
        if (stage == DetectionStage::kEdges) Keep(map, record_.edges, 255.0f);
        if (stage == DetectionStage::kCandidates) Keep(map, record_.candidates, 1.0f);
        if (stage == DetectionStage::kSeparated) Keep(map, record_.separated, 1.0f);
        if (stage == DetectionStage::kRelief) {
            const float largest = *std::max_element(map.begin(), map.end());
            Keep(map, record_.relief, largest > 0.0f ? 255.0f / largest : 0.0f);
        }
    }
    void StageByte(DetectionStage /*stage*/, const qvox::VoxelImage<std::uint8_t>& map) override {
        record_.filtered = map;
    }
    void StageLabels(DetectionStage /*stage*/, const qvox::LabelImage& map) override { record_.markers = map; }

private:
    static void Keep(const qvox::VoxelImage<float>& map, qvox::VoxelImage<std::uint8_t>& kept, float factor) {
        kept.Resize(map.SizeX(), map.SizeY(), 1);
        std::transform(map.begin(), map.end(), kept.begin(), [factor](float value) {
            return static_cast<std::uint8_t>(std::clamp(value * factor, 0.0f, 255.0f));
        });
    }

    StageRecord& record_;
    DetectionObserver& progress_;
};

std::string Number(std::uint64_t value) { return std::to_string(value); }

/// Two decimals, whatever the locale.
std::string Hundredths(double value) {
    const auto hundredths = static_cast<std::uint64_t>(std::lround(value * 100.0));
    const std::string rest = Number(hundredths % 100);
    return Number(hundredths / 100) + "." + (rest.size() < 2 ? "0" : "") + rest;
}

std::string ObjectsText(const std::vector<std::uint16_t>& labels) {
    std::string text = labels.size() == 1 ? "object " : "objects ";
    constexpr std::size_t kMost = 5;
    for (std::size_t i = 0; i < std::min(labels.size(), kMost); ++i) text += (i > 0 ? ", " : "") + Number(labels[i]);
    return labels.size() > kMost ? text + " and others" : text;
}

}  // namespace

StageRecord RecordStages(const qvox::VoxelImage<float>& raw, const AnalysisParameters& parameters, float xResolution,
                         DetectionObserver& progress, const qvox::PartRunner& run) {
    StageRecord record;
    record.parameters = parameters;
    record.xResolution = xResolution;
    StageKeeper keeper(record, progress);
    record.found.SetResolution(raw.Resolution());
    DetectExosomes(raw, record.found, parameters, xResolution, keeper, run);
    return record;
}

StageExplanation::StageExplanation(StageRecord record, const qvox::LabelImage& labels)
    : record_(std::move(record)), comparison_(CompareLabels(labels, record_.found)) {
    StageMaps maps;
    const auto copy = [](const qvox::VoxelImage<std::uint8_t>& from, qvox::VoxelImage<bool>& into, int code) {
        into.Resize(from.SizeX(), from.SizeY(), 1);
        std::transform(from.begin(), from.end(), into.begin(), [code](std::uint8_t value) { return value == code; });
    };
    copy(record_.candidates, maps.candidates, static_cast<int>(kCandidateCode));
    copy(record_.filtered, maps.filtered, kKeptCode);
    copy(record_.separated, maps.blobs, 1);
    const StageAttribution stages =
        AttributeToStages(comparison_, labels, record_.found, maps, record_.parameters.roundnessThreshold);
    const std::vector<EvaluatedObject>& truth = comparison_.objects.truth;
    const std::vector<EvaluatedObject>& found = comparison_.objects.found;
    const ObjectMatching& matching = comparison_.matching;
    for (std::size_t i = 0; i < matching.missed.size(); ++i)
        lostAt_[truth[matching.missed[i]].label] = stages.missed[i];
    for (std::size_t i = 0; i < matching.extra.size(); ++i) extra_[found[matching.extra[i]].label] = stages.extra[i];
    for (const ObjectMatch& match : matching.matches) {
        matched_[truth[match.truth].label] = {found[match.found].label, match.iou};
    }
    std::vector<Shares*> byLabel(65536, nullptr);
    for (const EvaluatedObject& object : truth) {
        byLabel[object.label] = &shares_[object.label];
        byLabel[object.label]->pixels = object.pixels;
    }
    for (std::uint64_t i = 0; i < labels.VoxelCount(); ++i) {
        Shares* const shares = byLabel[labels[i]];
        if (labels[i] == 0 || !maps.candidates[i]) continue;
        ++shares->candidates;
    }
    ChooseLostCandidates(labels);
}

/// An object may reach into the region of a neighbour, which was filtered out for reasons of its own.
void StageExplanation::ChooseLostCandidates(const qvox::LabelImage& labels) {
    std::map<std::uint16_t, std::vector<std::uint64_t>> lost;
    for (const auto& [label, stage] : lostAt_) {
        if (stage == FaultyStage::kFilter) lost[label];
    }
    if (lost.empty()) return;
    for (std::uint64_t i = 0; i < labels.VoxelCount(); ++i) {
        const bool isLost = record_.candidates[i] == static_cast<std::uint8_t>(kCandidateCode) &&
                            record_.filtered[i] == 0 && labels[i] != 0;
        if (!isLost) continue;
        if (const auto found = lost.find(labels[i]); found != lost.end()) found->second.push_back(i);
    }
    for (auto& [label, pixels] : lost) {
        std::size_t most = 0;
        while (pixels.size() > most) {
            const std::uint64_t start = pixels.front();
            std::vector<bool> isInside;
            CandidateRegionAt(start, isInside);
            const auto rest =
                std::remove_if(pixels.begin(), pixels.end(), [&](std::uint64_t i) { return isInside[i]; });
            const auto inside = static_cast<std::size_t>(pixels.end() - rest);
            if (inside > most) shares_[label].lostCandidate = start;
            most = std::max(most, inside);
            pixels.erase(rest, pixels.end());
        }
    }
}

template <typename Holds>
StageExplanation::Region StageExplanation::RegionAt(std::uint64_t start, Holds holds,
                                                    std::vector<bool>& isInside) const {
    const std::uint64_t width = record_.candidates.SizeX();
    const std::uint64_t height = record_.candidates.SizeY();
    isInside.assign(width * height, false);
    std::vector<std::uint64_t> open{start};
    isInside[start] = true;
    Region region;
    std::set<std::uint16_t> found;
    while (!open.empty()) {
        const std::uint64_t at = open.back();
        open.pop_back();
        ++region.pixels;
        region.hasBlob = region.hasBlob || record_.separated[at] != 0;
        if (record_.found[at] != 0) found.insert(record_.found[at]);
        const std::uint64_t x = at % width;
        const std::uint64_t y = at / width;
        for (std::uint64_t v = y > 0 ? y - 1 : 0; v <= std::min(y + 1, height - 1); ++v) {
            for (std::uint64_t u = x > 0 ? x - 1 : 0; u <= std::min(x + 1, width - 1); ++u) {
                const std::uint64_t next = v * width + u;
                if (isInside[next] || !holds(next)) continue;
                isInside[next] = true;
                open.push_back(next);
            }
        }
    }
    region.found.assign(found.begin(), found.end());
    return region;
}

StageExplanation::Region StageExplanation::CandidateRegionAt(std::uint64_t start, std::vector<bool>& isInside) const {
    const auto isCandidate = [this](std::uint64_t i) {
        return record_.candidates[i] == static_cast<std::uint8_t>(kCandidateCode);
    };
    return RegionAt(start, isCandidate, isInside);
}

std::string StageExplanation::WhyFilteredOut(std::uint64_t candidate) const {
    std::vector<bool> isInside;
    const Region region = CandidateRegionAt(candidate, isInside);
    const float scale = CheckedScale("Detection", record_.xResolution, record_.parameters.relativeExosomeSize);
    const float most = kMaximumCandidateAreaPx * scale;
    const std::string candidateText = "its candidate region of " + Number(region.pixels) + " px was filtered out: ";
    if (static_cast<float>(region.pixels) > most) {
        return candidateText + "it is larger than " + Number(static_cast<std::uint64_t>(most)) + " px";
    }
    const int opening = OpeningSize(static_cast<std::int64_t>(region.pixels), scale, record_.parameters.areaFraction);
    return candidateText + "less than 90 % of it is left by an opening of " + std::to_string(opening) +
           " px, so it is too thin or too ragged";
}

std::string StageExplanation::WhyNotKept(const Region& region) const {
    if (!region.hasBlob)
        return "its region of " + Number(region.pixels) + " px is too thin for a blob in cluster separation";
    if (!region.found.empty()) {
        return "its region became " + ObjectsText(region.found) + ", whose border the refinement drew elsewhere";
    }
    return "in the refinement its object was less round than " +
           Hundredths(static_cast<double>(record_.parameters.roundnessThreshold)) + ", or nothing was left of it";
}

std::string StageExplanation::WhyLost(std::uint16_t label, FaultyStage stage) const {
    const Shares& shares = shares_.at(label);
    const auto percent = [&](std::uint64_t part) {
        return std::to_string(std::lround(100.0 * static_cast<double>(part) / static_cast<double>(shares.pixels))) +
               " %";
    };
    switch (stage) {
        case FaultyStage::kCandidates:
            return "candidates cover " + percent(shares.candidates) +
                   " of it, too little: edges do not close around it";
        case FaultyStage::kFilter:
            return WhyFilteredOut(shares.lostCandidate);
        case FaultyStage::kSeparation:
            return "it was cut into several blobs, or none of its own was left";
        case FaultyStage::kRefinement:
            break;
    }
    return "the refinement grew its blob to another border, or dropped it as less round than " +
           Hundredths(static_cast<double>(record_.parameters.roundnessThreshold));
}

std::string StageExplanation::OfObject(std::uint16_t label) const {
    const std::string object = "Object " + Number(label);
    if (const auto match = matched_.find(label); match != matched_.end()) {
        const auto& [found, overlap] = match->second;
        return object + " is found: object " + Number(found) + " of the detection agrees with it (overlap " +
               Hundredths(overlap) + ").";
    }
    const auto lost = lostAt_.find(label);
    if (lost == lostAt_.end()) return object + " is not there.";
    return object + " is lost (" + MissedText(lost->second) + "): " + WhyLost(label, lost->second) + ".";
}

std::string StageExplanation::OfPlace(std::uint64_t x, std::uint64_t y) const {
    const std::uint64_t at = record_.found.Index(x, y);
    if (const std::uint16_t found = record_.found[at]; found != 0) {
        const std::string object = "The detection finds object " + Number(found) + " here";
        const auto extra = extra_.find(found);
        if (extra == extra_.end()) return object + ", a little larger than its label.";
        return object + ", which the labels do not have (" + ExtraText(extra->second) + ", if they are right).";
    }
    const std::uint8_t code = record_.candidates[at];
    if (code == static_cast<std::uint8_t>(kRingCode)) {
        return "No object: this is the ring that keeps candidates apart.";
    }
    if (code != static_cast<std::uint8_t>(kCandidateCode)) {
        const std::int64_t most = DetectionAreaLimit(record_.xResolution, record_.parameters);
        return "No object: never a candidate. Edges do not enclose this place in an area of at most " +
               std::to_string(most) + " px; its own edge strength is " +
               Hundredths(static_cast<double>(record_.edges[at]) / 255.0) + ".";
    }
    if (record_.filtered[at] == 0) return "No object: " + WhyFilteredOut(at) + ".";
    std::vector<bool> isInside;
    const Region region = RegionAt(
        at, [this](std::uint64_t i) { return record_.filtered[i] != 0; }, isInside);
    return "No object: " + WhyNotKept(region) + ".";
}

}  // namespace Korvane

#include "StagesView.h"

#include <algorithm>
#include <string>
#include <utility>

#include "NominalSizes.h"

namespace Korvane {

namespace {

/// The areas of a map in label colours; the ring that keeps candidates apart in another one.
template <typename Label>
void Paint(const qvox::VoxelImage<std::uint8_t>& map, qvox::LabelImage& areas, Label label) {
    areas.Resize(map.SizeX(), map.SizeY(), 1);
    std::transform(map.begin(), map.end(), areas.begin(), label);
}

std::uint16_t IsSet(std::uint8_t value) { return static_cast<std::uint16_t>(value != 0 ? 1 : 0); }

std::uint16_t CandidateArea(std::uint8_t code) {
    if (code == static_cast<std::uint8_t>(kCandidateCode)) return 1;
    return static_cast<std::uint16_t>(code == static_cast<std::uint8_t>(kRingCode) ? 2 : 0);
}

const char* StageText(DetectionStage stage) {
    switch (stage) {
        case DetectionStage::kEdges:
            return "edge map, the strongest edges white";
        case DetectionStage::kCandidates:
            return "candidates, the areas that edges enclose, and the rings that keep them apart";
        case DetectionStage::kFiltered:
            return "filtered, the candidates that are compact and not too large";
        case DetectionStage::kSeparated:
            return "separated, one blob for each object of a cluster";
        case DetectionStage::kRelief:
            return "relief of the refinement, ridges at the borders of objects";
        case DetectionStage::kMarkers:
            return "markers of the refinement, blobs and certain background";
        case DetectionStage::kLabelled:
        case DetectionStage::kRefined:
            break;
    }
    return "objects found";
}

}  // namespace

StagesView::StagesView(StageRecord record, const qvox::LabelImage& labels) : explanation_(std::move(record), labels) {
    const bool isRefined = explanation_.Record().markers.VoxelCount() > 0;
    for (const DetectionStageRow& row : kDetectionStages) {
        const bool isShown = !row.filePrefix.empty() || row.stage == DetectionStage::kRefined;
        const bool isMade = isRefined || row.runs == StageRuns::kAlways || row.stage == DetectionStage::kRefined;
        if (isShown && isMade) stages_.push_back(row.stage);
    }
    Fill();
}

void StagesView::Step(int by) {
    const auto count = static_cast<int>(stages_.size());
    shown_ = static_cast<std::size_t>((static_cast<int>(shown_) + by % count + count) % count);
    Fill();
}

wxString StagesView::Text() const {
    return "Stage " + std::to_string(shown_ + 1) + " of " + std::to_string(stages_.size()) + ": " +
           StageText(stages_[shown_]);
}

const GreyPicture* StagesView::Grey() const {
    if (stages_[shown_] == DetectionStage::kEdges) return &explanation_.Record().edges;
    if (stages_[shown_] == DetectionStage::kRelief) return &explanation_.Record().relief;
    return nullptr;
}

void StagesView::Fill() {
    const StageRecord& record = explanation_.Record();
    switch (stages_[shown_]) {
        case DetectionStage::kCandidates:
            return Paint(record.candidates, areas_, CandidateArea);
        case DetectionStage::kFiltered:
            return Paint(record.filtered, areas_, IsSet);
        case DetectionStage::kSeparated:
            return Paint(record.separated, areas_, IsSet);
        case DetectionStage::kMarkers:
            areas_ = record.markers;
            return;
        case DetectionStage::kRefined:
            areas_ = record.found;
            return;
        case DetectionStage::kEdges:
        case DetectionStage::kRelief:
        case DetectionStage::kLabelled:
            break;
    }
    Paint(record.edges, areas_, [](std::uint8_t) { return static_cast<std::uint16_t>(0); });
}

}  // namespace Korvane

#include "StagesView.h"

#include <algorithm>
#include <string>
#include <utility>

#include "NominalSizes.h"

namespace Korvane {

namespace {

/// The areas of a map in label colours.
template <typename Label>
qvox::LabelImage AreasOf(const qvox::VoxelImage<std::uint8_t>& map, Label label) {
    qvox::LabelImage areas;
    areas.Resize(map.SizeX(), map.SizeY(), 1);
    std::transform(map.begin(), map.end(), areas.begin(), label);
    return areas;
}

std::uint16_t IsSet(std::uint8_t value) { return static_cast<std::uint16_t>(value != 0 ? 1 : 0); }

/// The ring that keeps candidates apart gets another colour.
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

StagesView::StagesView(StageRecord record, const qvox::LabelImage& labels, const AnalysedFrame& frame)
    : explanation_(std::move(record), labels), frame_(frame) {
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

/// In the frame of the whole image; nothing lies beside the part.
template <typename Voxel>
void StagesView::Put(const qvox::VoxelImage<Voxel>& map, qvox::VoxelImage<Voxel>& whole) const {
    whole.Resize(frame_.width, frame_.height, 1);
    whole.Zero();
    for (std::uint64_t y = 0; y < map.SizeY(); ++y) {
        std::copy_n(map.Row(y), map.SizeX(), whole.Row(static_cast<std::uint64_t>(frame_.part.y) + y) + frame_.part.x);
    }
}

void StagesView::Fill() {
    const StageRecord& record = explanation_.Record();
    grey_.Release();
    switch (stages_[shown_]) {
        case DetectionStage::kCandidates:
            return Put(AreasOf(record.candidates, CandidateArea), areas_);
        case DetectionStage::kFiltered:
            return Put(AreasOf(record.filtered, IsSet), areas_);
        case DetectionStage::kSeparated:
            return Put(AreasOf(record.separated, IsSet), areas_);
        case DetectionStage::kMarkers:
            return Put(record.markers, areas_);
        case DetectionStage::kRefined:
            return Put(record.found, areas_);
        case DetectionStage::kEdges:
            Put(record.edges, grey_);
            break;
        case DetectionStage::kRelief:
            Put(record.relief, grey_);
            break;
        case DetectionStage::kLabelled:
            break;
    }
    Put(qvox::LabelImage(), areas_);
}

wxString StagesView::Explain(std::uint64_t x, std::uint64_t y, std::uint16_t label) const {
    const PixelBox& part = frame_.part;
    const std::int64_t partX = static_cast<std::int64_t>(x) - part.x;
    const std::int64_t partY = static_cast<std::int64_t>(y) - part.y;
    if (partX < 0 || partY < 0 || partX >= part.width || partY >= part.height) {
        return "This place lies outside the analysis region: detection does not look at it.";
    }
    return wxString::FromUTF8(
        label != 0 ? explanation_.OfObject(label)
                   : explanation_.OfPlace(static_cast<std::uint64_t>(partX), static_cast<std::uint64_t>(partY)));
}

}  // namespace Korvane

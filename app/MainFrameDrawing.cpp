#include <algorithm>

#include <wx/utils.h>

#include "CommandTable.h"
#include "MainFrame.h"
#include "SingleImageCanvas.h"
#include "operations/FloodFill.h"
#include "operations/HoleFilling.h"
#include "operations/IntensityHistogram.h"
#include "operations/Line.h"

namespace Korvane {

namespace {

constexpr std::uint16_t kMaxLabel = 65535;
constexpr int kMinRadius = 1;
constexpr int kMaxRadius = 99;

bool InImage(float x, float y, const qvox::LabelImage& labels) {
    return x >= 0.0f && y >= 0.0f && x < static_cast<float>(labels.SizeX()) && y < static_cast<float>(labels.SizeY());
}

void PaintDisc(qvox::LabelImage& labels, std::int64_t cx, std::int64_t cy, std::int64_t radius, std::uint16_t label) {
    const auto width = static_cast<std::int64_t>(labels.SizeX());
    const auto height = static_cast<std::int64_t>(labels.SizeY());
    for (std::int64_t dy = -radius; dy <= radius; ++dy) {
        for (std::int64_t dx = -radius; dx <= radius; ++dx) {
            const std::int64_t x = cx + dx;
            const std::int64_t y = cy + dy;
            if (dx * dx + dy * dy >= radius * radius || x < 0 || y < 0 || x >= width || y >= height) continue;
            labels(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y)) = label;
        }
    }
}

std::array<std::int64_t, 3> PointOf(const qvox::LabelImage& labels, std::uint64_t index) {
    const auto at = labels.Coordinates(index);
    return {static_cast<std::int64_t>(at[0]), static_cast<std::int64_t>(at[1]), static_cast<std::int64_t>(at[2])};
}

void FillContour(qvox::LabelImage& labels, const std::vector<std::uint64_t>& points, std::uint16_t label) {
    qvox::LabelImage outline;
    outline.Resize(labels.SizeX(), labels.SizeY(), labels.SizeZ());
    outline.Zero();
    for (std::size_t i = 1; i < points.size(); ++i) {
        qvox::DrawLine(outline, PointOf(labels, points[i]), PointOf(labels, points[i - 1]), kMaxLabel);
    }
    qvox::DrawLine(outline, PointOf(labels, points.back()), PointOf(labels, points.front()), kMaxLabel);
    qvox::LabelImage filled;
    qvox::FillHoles(outline, filled);
    for (std::uint64_t i = 0; i < labels.VoxelCount(); ++i) {
        if (filled[i] == kMaxLabel) labels[i] = label;
    }
}

}  // namespace

void MainFrame::LabelsEdited() {
    RecountLabels(store_);
    canvas_->LabelsChanged();
}

void MainFrame::OnPreviousLabel(wxCommandEvent&) {
    if (store_.currentLabel == 0) return;
    --store_.currentLabel;
    RefreshAll();
}

void MainFrame::OnNextLabel(wxCommandEvent&) {
    if (store_.currentLabel == kMaxLabel) {
        Tell("The maximum number of labels reached!");
        return;
    }
    ++store_.currentLabel;
    RefreshAll();
}

void MainFrame::OnEmptyLabel(wxCommandEvent&) {
    store_.currentLabel = 0;
    RefreshAll();
}

void MainFrame::OnUniqueLabel(wxCommandEvent&) {
    if (!HasPositions()) return;
    qvox::Histogram histogram;
    qvox::IntensityHistogram(CurrentLabels(), histogram);
    const auto unused = std::find(histogram.begin() + 1, histogram.end(), std::uint64_t{0});
    if (unused == histogram.end()) {
        Tell("Maximum number of labels reached!");
        return;
    }
    store_.currentLabel = static_cast<std::uint16_t>(unused - histogram.begin());
    RefreshAll();
}

void MainFrame::OnDecreaseRadius(wxCommandEvent&) {
    if (mode_ == DrawingMode::kContour) return;
    brushRadius_ = std::max(kMinRadius, brushRadius_ - 1);
    RefreshAll();
}

void MainFrame::OnIncreaseRadius(wxCommandEvent&) {
    if (mode_ == DrawingMode::kBrush) brushRadius_ = std::min(kMaxRadius, brushRadius_ + 1);
    RefreshAll();
}

void MainFrame::FlipContourMode() {
    mode_ = mode_ == DrawingMode::kContour ? DrawingMode::kBrush : DrawingMode::kContour;
    contourPoints_.clear();
    RefreshAll();
}

void MainFrame::OnContourMode(wxCommandEvent&) { FlipContourMode(); }

void MainFrame::OnClearCurrent(wxCommandEvent&) {
    if (!HasPositions()) return;
    ClearCurrentLabels(store_);
    canvas_->LabelsChanged();
    RefreshAll();
}

void MainFrame::OnClearAll(wxCommandEvent&) {
    // A stroke that is being drawn would go on into labels that are gone.
    if (!HasPositions() || wxGetMouseState().LeftIsDown()) return;
    if (!Confirm("All unsaved results will be irretrievably lost for all positions! Do you really want to continue?")) {
        return;
    }
    ClearAllLabels(store_);
    canvas_->LabelsChanged();
    RefreshAll();
}

void MainFrame::TakeUndoCopy() { store_.undoLabels = CurrentLabels(); }

void MainFrame::Undo() {
    if (store_.undoLabels.Empty()) return;
    CurrentLabels().Swap(store_.undoLabels);
    store_.undoLabels.Release();
    // The object count stays until the next edit counts again.
    canvas_->LabelsChanged();
    RefreshAll();
}

void MainFrame::RepaintComponent() {
    if (!contourPoints_.empty()) return;
    const wxPoint at = canvas_->ViewStartPixels() + canvas_->Pointer();
    const float x = static_cast<float>(at.x) / zoomFactor_;
    const float y = static_cast<float>(at.y) / zoomFactor_;
    if (!canvas_->PointerInside() || !InImage(x, y, CurrentLabels())) return;
    TakeUndoCopy();
    qvox::FloodFillLabel(CurrentLabels(), store_.currentLabel, static_cast<std::uint64_t>(x),
                         static_cast<std::uint64_t>(y), 0, qvox::Neighbourhood8());
    LabelsEdited();
    RefreshAll();
}

bool MainFrame::HandleEditKey(int key) {
    switch (key) {
        case WXK_BACK:
            Undo();
            return true;
        case 'c':
            // The menu's check mark stays as it is.
            FlipContourMode();
            return true;
        case 'r':
            RepaintComponent();
            return true;
        default:
            return false;
    }
}

void MainFrame::PickLabel(float x, float y) {
    if (!contourPoints_.empty()) return;
    const qvox::LabelImage& labels = CurrentLabels();
    store_.currentLabel =
        InImage(x, y, labels) ? labels(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y)) : std::uint16_t{0};
    canvas_->Refresh(false);
}

void MainFrame::DrawAt(float x, float y) {
    qvox::LabelImage& labels = CurrentLabels();
    if (mode_ == DrawingMode::kContour) {
        if (!InImage(x, y, labels)) return;
        contourPoints_.push_back(labels.Index(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y)));
        canvas_->Refresh(false);
        return;
    }
    const auto cx = static_cast<std::int64_t>(x);
    const auto cy = static_cast<std::int64_t>(y);
    PaintDisc(labels, cx, cy, brushRadius_, store_.currentLabel);
    LabelsEdited();
    canvas_->RefreshImagePart(cx - brushRadius_, cy - brushRadius_, cx + brushRadius_, cy + brushRadius_);
}

void MainFrame::FillDrawnContour() {
    if (contourPoints_.empty()) return;
    // Discarded also when there is no memory for the filling: positions could not be switched otherwise.
    const std::vector<std::uint64_t> points = std::move(contourPoints_);
    contourPoints_.clear();
    canvas_->Refresh(false);
    FillContour(CurrentLabels(), points, store_.currentLabel);
    LabelsEdited();
}

void MainFrame::OnCanvasMouse(wxMouseEvent& event) {
    if (!IsEnabled() || !canvas_->HasImage() || !HasPositions() || !canvas_->PointerInside()) return;
    RunAlone([&] {
        const wxPoint at = canvas_->ViewStartPixels() + event.GetPosition();
        const float x = static_cast<float>(at.x) / zoomFactor_;
        const float y = static_cast<float>(at.y) / zoomFactor_;
        if (event.RightUp()) PickLabel(x, y);
        // The second press of a double click comes as that only.
        const bool pressed = event.LeftDown() || event.LeftDClick();
        if (pressed) TakeUndoCopy();
        if (pressed || (event.Dragging() && event.LeftIsDown())) DrawAt(x, y);
        if (event.LeftUp() && mode_ == DrawingMode::kContour) FillDrawnContour();
        RefreshStatusTexts();
    });
}

}  // namespace Korvane

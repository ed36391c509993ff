#include <new>

#include <wx/utils.h>

#include "CommandTable.h"
#include "MainFrame.h"
#include "OverlayGeometry.h"
#include "RecoveryJournal.h"
#include "SingleImageCanvas.h"
#include "StatusTexts.h"

namespace Korvane {

EditedPosition MainFrame::Edited() {
    return {store_.images.ShownLabels(), store_.undoLabels, store_.currentLabel, store_.labelCount};
}

/// Does for the window what a command of the tools left to do.
void MainFrame::Finish(EditResult result, const char* whenMaximumReached) {
    if (result == EditResult::kRepaint) RefreshAll();
    if (result == EditResult::kMaximumReached) Tell(whenMaximumReached);
}

void MainFrame::OnPreviousLabel(wxCommandEvent&) { Finish(PreviousLabel(store_.currentLabel)); }

void MainFrame::OnNextLabel(wxCommandEvent&) { Finish(NextLabel(store_.currentLabel), kNoNextLabelText); }

void MainFrame::OnEmptyLabel(wxCommandEvent&) { Finish(EmptyLabel(store_.currentLabel)); }

void MainFrame::OnUniqueLabel(wxCommandEvent&) { Finish(UniqueLabel(Edited(), editing_), kNoUniqueLabelText); }

/// Marks are made with the brush, whatever labels are drawn with.
EditResult MainFrame::ChangeRadius(EditResult (*change)(EditingState& state)) {
    const DrawingMode mode = editing_.mode;
    if (MarksBurntIn()) editing_.mode = DrawingMode::kBrush;
    const EditResult result = change(editing_);
    editing_.mode = mode;
    return result;
}

void MainFrame::OnDecreaseRadius(wxCommandEvent&) { Finish(ChangeRadius(DecreaseBrushRadius)); }

void MainFrame::OnIncreaseRadius(wxCommandEvent&) { Finish(ChangeRadius(IncreaseBrushRadius)); }

void MainFrame::OnContourMode(wxCommandEvent&) { Finish(FlipDrawingMode(editing_)); }

void MainFrame::OnClearCurrent(wxCommandEvent&) {
    history_.Open("clearing");
    Finish(ClearLabels(Edited(), editing_));
    TakeToolChanges();
    history_.Close();
    Say("The labels of this position are cleared");
}

void MainFrame::OnClearAll(wxCommandEvent&) {
    // A stroke that is being drawn would go on into labels that are gone.
    if (wxGetMouseState().LeftIsDown()) return;
    if (!Confirm("All unsaved results will be irretrievably lost for all positions! Do you really want to continue?")) {
        return;
    }
    history_.Open("clearing of all positions");
    for (std::size_t i = 0; i < PositionCount(store_); ++i) {
        if (CountLabels(store_, i) > 0) Changed(i, ClearingOf(*store_.images.LabelsOf(i)));
    }
    history_.Close();
    ClearAllLabels(store_);
    LabelsReplaced(editing_);
    RefreshAll();
    Say("The labels of all positions are cleared");
}

bool MainFrame::HandleEditKey(int key) {
    if (ShowsStages()) {
        const bool isEdit = key == WXK_BACK || key == 'r';
        if (key == WXK_ESCAPE) LeaveStages();
        if (isEdit) Say("The stages of detection are shown: Esc ends that");
        if (isEdit || key == WXK_ESCAPE) return true;
    }
    switch (key) {
        case WXK_BACK: {
            history_.Open("Backspace");
            PixelRectangle changed;
            const EditResult result = UndoEdit(Edited(), editing_, &changed);
            TakeToolChanges();
            history_.Close();
            // What is beside it looks as before.
            RefreshEdited(changed);
            RefreshStatusTexts();
            // Whatever came after that stroke is gone with it: a detection, segmentation or labels that were loaded.
            Say(result == EditResult::kNothing
                    ? "There is no stroke to take back; Ctrl+Z undoes other changes"
                    : "The labels from before the last stroke are back; Ctrl+Z undoes that");
            return true;
        }
        case WXK_ESCAPE:
            if (LeaveTool()) return true;
            if (editing_.contourPoints.empty()) return false;
            DiscardContour();
            return true;
        case 'c':
            // The menu's check mark stays as it is.
            Finish(FlipDrawingMode(editing_));
            return true;
        case 'r':
            if (!editing_.contourPoints.empty()) Say(kOpenContourText);
            history_.Open("repainting");
            RefreshEdited(RepaintComponent(Edited(), editing_, canvas_->ImagePointUnder(canvas_->PointerAnywhere())));
            TakeToolChanges();
            history_.Close();
            return true;
        default:
            return false;
    }
}

void MainFrame::RefreshEdited(const PixelRectangle& part) {
    if (part.width > 0 && part.height > 0) canvas_->RefreshImagePart(part);
}

void MainFrame::OnCanvasMouse(wxMouseEvent& event) {
    // GTK swallows a movement that the release follows at once. A release elsewhere than the last known place of the
    // stroke was a drag to there all the same.
    const bool lateDrag = strokeAt_.has_value() && event.LeftUp() && event.GetPosition() != *strokeAt_;
    if (event.LeftUp()) strokeAt_.reset();
    if (event.Leaving() && HasPositions()) ShowPointer(event);
    if (!IsEnabled() || !canvas_->HasImage() || !HasPositions()) return;
    if (DragTool(event) || !canvas_->PointerInside()) return;
    RunAlone([&] {
        const ImagePoint point = canvas_->ImagePointUnder(event.GetPosition());
        if (ShowsStages()) return ExplainPlace(point);
        if (event.RightUp()) {
            Finish(PickLabel(Edited(), editing_, point));
            ChooseObjectAt(point);
        }
        // The second press of a double click comes as that only.
        if (event.LeftDown() || event.LeftDClick()) {
            stroke_ = Stroke::kFollowed;
            history_.Open(DrawsContours() ? "contour" : "brush stroke");
            RefreshEdited(PressLeft(Edited(), editing_, point));
            strokeAt_ = event.GetPosition();
        } else if (stroke_ == Stroke::kFollowed && ((event.LeftIsDown() && !event.Entering()) || lateDrag)) {
            RefreshEdited(DragLeft(Edited(), editing_, point));
            if (strokeAt_) strokeAt_ = event.GetPosition();
        }
        if (event.LeftIsDown() || lateDrag) canvas_->RefreshPixels(ContourTip(editing_, Edited().labels));
        // What is filled holds all of the line that was on the screen.
        if (event.LeftUp()) RefreshEdited(ReleaseLeft(Edited(), editing_));
        TakeToolChanges();
        if (event.LeftUp()) history_.Close();
        RefreshStatusTexts();
        ShowPointer(event);
    });
}

void MainFrame::OnIdle(wxIdleEvent& event) {
    event.Skip();
    if (work_ == Work::kRunning || !HasPositions()) return;
    ReadOn();
    if (WriteJournal(kJournalBytes)) event.RequestMore();
    // Not while memory is wanted for images that are read.
    if (!reader_.IsIdle()) return;
    // The first stroke would wait for a copy of the whole image; it is made while nobody waits, some milliseconds at a
    // time.
    constexpr std::uint64_t kVoxels = std::uint64_t{1} << 21;
    try {
        const EditedPosition position = Edited();
        if (editing_.undo.Prepare(position.labels, position.undoLabels, kVoxels) == UndoBase::Progress::kMore) {
            event.RequestMore();
        }
    } catch (const std::bad_alloc&) {
        // The stroke will say so, if there still is no room by then.
    }
}

}  // namespace Korvane

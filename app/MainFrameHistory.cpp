#include <algorithm>
#include <exception>
#include <optional>
#include <utility>

#include <wx/utils.h>

#include "FailureText.h"
#include "MainFrame.h"
#include "MessageLog.h"
#include "ObjectsPanel.h"
#include "RecoveryJournal.h"
#include "SingleImageCanvas.h"
#include "StatusTexts.h"

namespace Korvane {

void MainFrame::Changed(std::size_t position, LabelChanges changes) {
    if (changes.Empty()) return;
    unsaved_[position] = 1;
    ObjectsChanged(position);
    if (journal_ != nullptr) journal_->Change(position, changes.Share());
    JournalSoon();
    history_.Add(position, std::move(changes));
}

/// Gives a position other labels, which the difference leads to. What fails on the way leaves no step behind that leads
/// from labels that are not there.
void MainFrame::ReplaceLabels(std::size_t position, qvox::LabelImage& labels, LabelChanges difference) {
    try {
        store_.images.SetLabels(position, labels);
        Changed(position, std::move(difference));
    } catch (...) {
        LabelsInDoubt();
        throw;
    }
}

void MainFrame::TakeToolChanges() {
    if (HasPositions()) Changed(store_.current, std::exchange(editing_.changes, {}));
}

/// Once: from then on it goes without saying.
void MainFrame::TellDropped() {
    if (!history_.TakeDropped() || dropped_ == Dropped::kTold) return;
    dropped_ = Dropped::kTold;
    Say(said_ + (said_.empty() ? "" : "; ") + "the oldest changes can no longer be undone, as memory for them is full");
}

/// A command failed on its way. If it was one that changes labels, which opens a step and closes it at its end, some
/// may have changed unrecorded.
void MainFrame::LabelsInDoubt() {
    if (!history_.IsOpen() && editing_.changes.Empty()) return;
    editing_.changes = {};
    history_.Clear();
    LeaveStages();
    if (ShowsObjects()) objects_->ChangedAll();
    ReplaceInJournal();
}

std::size_t MainFrame::UnsavedCount() const {
    return static_cast<std::size_t>(std::count(unsaved_.begin(), unsaved_.end(), 1));
}

void MainFrame::OnUndo(wxCommandEvent&) { Travel(ChangeDirection::kUndo); }

void MainFrame::OnRedo(wxCommandEvent&) { Travel(ChangeDirection::kRedo); }

void MainFrame::Travel(ChangeDirection direction) {
    const bool undo = direction == ChangeDirection::kUndo;
    if (!editing_.contourPoints.empty()) return Say(kOpenContourText);
    // A stroke that is being drawn would go on into labels that it did not begin in.
    if (wxGetMouseState().LeftIsDown()) return Say("Release the mouse button first");
    const HistoryStep* const step = undo ? history_.Undo() : history_.Redo();
    if (step == nullptr) return Say(undo ? "There is nothing to undo" : "There is nothing to redo");
    // An open step is what tells that labels are being changed, see LabelsInDoubt.
    history_.Open("");
    std::optional<FailureText> notShown;
    if (!step->Holds(store_.current)) {
        const std::size_t position = step->parts.front().position;
        // Its labels change: it stays a position even if its image turns out to be unreadable now.
        if (step->parts.front().layer == ChangedLayer::kLabels) unsaved_[position] = 1;
        try {
            SwitchTo(position);
        } catch (...) {
            // Labels are there without their image.
            notShown = TextOfFailure(FileTask::kLoadInput, store_.paths[position], std::current_exception());
        }
    }
    std::vector<std::size_t> positions;
    const auto apply = [&](const HistoryStep::Part& part) {
        positions.push_back(part.position);
        if (part.layer == ChangedLayer::kMarks) return RefreshEdited(ApplyMarks(part, direction));
        unsaved_[part.position] = 1;
        ObjectsChanged(part.position);
        if (journal_ != nullptr && undo) journal_->Change(part.position, part.changes.ReversedInParts());
        if (journal_ != nullptr && !undo) journal_->Change(part.position, part.changes.Share());
        JournalSoon();
        if (part.position == store_.current) {
            RefreshEdited(ApplyToEdited(part.changes, direction, Edited(), editing_));
        } else {
            qvox::LabelImage labels = *store_.images.LabelsOf(part.position);
            ApplyChanges(part.changes, direction, labels);
            store_.images.SetLabels(part.position, labels);
        }
    };
    if (undo) {
        std::for_each(step->parts.rbegin(), step->parts.rend(), apply);
    } else {
        std::for_each(step->parts.begin(), step->parts.end(), apply);
    }
    history_.Close();
    RefreshStatusTexts();
    if (notShown) LogFailure(notShown->Lines(), notShown->cause);
    Say(TravelText(undo ? "Undone: " : "Redone: ", step->what, positions, PositionCount(store_)));
}

void MainFrame::DiscardContour() {
    editing_.contourPoints.clear();
    strokeAt_.reset();
    stroke_ = Stroke::kIgnored;
    RefreshAll();
    Say("The contour is discarded");
}

}  // namespace Korvane

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <limits>
#include <new>
#include <utility>
#include <vector>

#include <wx/msgdlg.h>

#include "ExceptionText.h"
#include "MainFrame.h"
#include "MessageLog.h"
#include "PathText.h"
#include "Recovery.h"
#include "RecoveryJournal.h"
#include "Scopes.h"
#include "SingleImageCanvas.h"

namespace Korvane {

/// From where an exception is handled: what keeps labels from being journalled.
void MainFrame::SayNotKept() {
    Say("Labels cannot be restored after a crash (" + ExceptionText(std::current_exception()) + ")");
}

void MainFrame::KeepJournal(const std::string& folder) {
    journalTimer_.Bind(wxEVT_TIMER, [this](wxTimerEvent&) { WriteLateJournal(); });
    try {
        journal_ = std::make_unique<RecoveryJournal>(folder);
    } catch (const std::exception&) {
        SayNotKept();
    }
}

/// A failure to write is told once; the work goes on without a journal.
bool MainFrame::WriteJournal(std::uint64_t bytes) {
    if (journal_ == nullptr) return false;
    try {
        return journal_->Write(bytes) == RecoveryJournal::Progress::kMore;
    } catch (const std::exception&) {
        SayNotKept();
        return false;
    }
}

void MainFrame::JournalSoon() {
    constexpr int kLateMs = 1000;
    if (journal_ != nullptr && !journalTimer_.IsRunning()) journalTimer_.StartOnce(kLateMs);
}

/// No moment is idle while a person draws on and each movement takes as long to paint as the next one takes to come.
void MainFrame::WriteLateJournal() {
    constexpr std::chrono::milliseconds kAtOnce{25};
    constexpr int kPauseMs = 100;
    const auto begun = std::chrono::steady_clock::now();
    while (WriteJournal(kJournalBytes)) {
        if (std::chrono::steady_clock::now() - begun < kAtOnce) continue;
        journalTimer_.StartOnce(kPauseMs);
        return;
    }
}

/// Nobody can be asked any more; the next start offers what is not saved.
void MainFrame::OnEndSession(wxCloseEvent&) {
    WriteJournal(std::numeric_limits<std::uint64_t>::max());
    if (journal_ != nullptr) journal_->Leave();
    journal_.reset();
    // In the middle of a command the session ends the program.
    if (work_ != Work::kRunning) Destroy();
}

void MainFrame::BeginJournal() {
    results_.assign(PositionCount(store_), std::nullopt);
    if (journal_ == nullptr) return;
    std::vector<JournalImage> images;
    for (std::size_t i = 0; i < PositionCount(store_); ++i) {
        images.push_back(
            {store_.images.Mark(i), store_.images.SizeX(i), store_.images.SizeY(i), store_.images.SizeZ(i)});
    }
    journal_->Begin(std::move(images));
}

/// The labels of a position are those of this file now.
void MainFrame::LieIn(std::size_t index, const std::optional<FileMark>& file) {
    unsaved_[index] = 0;
    results_[index] = file;
    if (journal_ != nullptr && file) journal_->Base(index, *file);
}

/// Saving is over: with nothing unsaved there is nothing to restore.
void MainFrame::ShortenJournal() {
    if (journal_ != nullptr && UnsavedCount() == 0) journal_->Saved(results_);
}

/// Writes the labels of positions whose changes were not recorded as a whole.
void MainFrame::ReplaceInJournal() {
    if (journal_ == nullptr) return;
    try {
        for (std::size_t i = 0; i < PositionCount(store_); ++i) {
            if (i != store_.current && unsaved_[i] == 0) continue;
            journal_->Replace(i, ClearingOf(*store_.images.LabelsOf(i)).ReversedInParts());
            JournalSoon();
            unsaved_[i] = 1;
        }
    } catch (const std::bad_alloc&) {
        // Rather none than one that leads to other labels.
        journal_->GiveUp();
        SayNotKept();
    }
}

/// What this version cannot read is left to the one that wrote it, unless nobody wants it.
void MainFrame::OfferForeign(const std::vector<std::string>& files) {
    if (files.empty()) return;
    wxString text =
        "Another version of Korvane ended before labels were saved, and left them in files that this version "
        "cannot read. That version can restore them.\n";
    for (const std::string& file : files) text += "\n" + PathText(file);
    wxMessageDialog dialog(this, text, "Restore labels", wxYES_NO | wxNO_DEFAULT | wxCENTRE);
    dialog.SetYesNoLabels("Discard", "Later");
    if (dialog.ShowModal() != wxID_YES) return;
    for (const std::string& file : files) std::remove(file.c_str());
}

bool MainFrame::OfferRecovery(const std::string& folder) {
    bool restored = false;
    RunAlone([&] {
        LeftWork left = FindLeftWork(folder);
        OfferForeign(left.foreign);
        for (LeftJournal& journal : left.journals) {
            const RecoveryOffer offer = OfferOf(journal);
            wxMessageDialog dialog(this, offer.text, "Restore labels", wxYES_NO | wxCANCEL | wxCENTRE);
            dialog.SetYesNoCancelLabels("Restore", "Discard", "Later");
            const int answer = dialog.ShowModal();
            if (answer == wxID_NO) journal.Remove();
            if (answer != wxID_YES) continue;
            // Kept while anything of it is not restored; and only one series can be open.
            if (Restore(journal, offer.images) && offer.lost == 0) journal.Remove();
            restored = true;
            break;
        }
    });
    return restored;
}

/// False when labels are missing, or are in no new journal yet.
bool MainFrame::Restore(const LeftJournal& journal, const std::vector<std::size_t>& images) {
    const DisabledScope disabled(*this);
    std::vector<wxString> paths;
    paths.reserve(images.size());
    for (const std::size_t i : images) paths.push_back(PathText(journal.Positions()[i].image.file.path));
    ReplacePositions(paths);
    history_.Open("recovery");
    std::size_t count = 0;
    std::vector<wxString> missing;
    for (const std::size_t i : images) {
        const RecoveredPosition& position = journal.Positions()[i];
        const wxString path = PathText(position.image.file.path);
        const auto found = std::find(store_.paths.begin(), store_.paths.end(), path);
        if (position.runs.empty() && !position.base) continue;
        if (found == store_.paths.end()) {
            missing.push_back(path);
            continue;
        }
        const auto index = static_cast<std::size_t>(found - store_.paths.begin());
        try {
            qvox::LabelImage labels = RecoveredLabels(position);
            const PositionImages::Labels before = store_.images.LabelsOf(index);
            if (!labels.SameSizes(*before)) {
                missing.push_back(path);
                continue;
            }
            Changed(index, DifferenceOf(*before, labels));
            store_.images.SetLabels(index, labels);
        } catch (const qvox::ToolkitError&) {
            missing.push_back(path);
            continue;
        }
        if (position.base) knownResults_.Know(PathText(position.base->path));
        if (position.runs.empty()) LieIn(index, position.base);
        count += position.runs.empty() ? 0u : 1u;
    }
    history_.Close();
    if (HasPositions()) CountAgain();
    RefreshAll();
    WriteJournal(std::numeric_limits<std::uint64_t>::max());
    const bool isKept = missing.empty() && journal_ != nullptr && journal_->IsComplete();
    for (const wxString& path : missing) {
        const wxString cause = "its image cannot be opened or has other sizes; the next start offers them again";
        LogFailure("Cannot restore the labels of '" + path + "'! (" + cause + ")", cause);
    }
    // Else it was said why nothing is kept any more.
    if (journal_ != nullptr && !journal_->IsComplete()) return isKept;
    if (count == 0) {
        Say("No labels were restored");
        return isKept;
    }
    Say("Restored the labels of " + std::to_string(count) + (count == 1 ? " position" : " positions") +
        "; they are not saved yet");
    return isKept;
}

}  // namespace Korvane

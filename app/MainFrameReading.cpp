#include <algorithm>
#include <chrono>
#include <exception>
#include <memory>
#include <utility>

#include <wx/evtloop.h>
#include <wx/progdlg.h>
#include <wx/utils.h>

#include "BackgroundReader.h"
#include "ExceptionText.h"
#include "FailureText.h"
#include "MainFrame.h"
#include "MessageLog.h"
#include "ObjectsPanel.h"
#include "PathText.h"

// Of a long series only the first images are read when it is opened. This reads the others.

namespace Korvane {

void MainFrame::NoteBurntIn(std::size_t index, const BurntIn& burntIn, GatheredWarnings& warnings) {
    const wxString& path = store_.paths[index];
    warnings.Add(path, InformationBarWarning(burntIn.bars, "Tools > Analysis region"));
    warnings.Add(path, AnnotationWarning(burntIn.annotations, {}, "Tools > Fill bars and writing"));
    burntIn_[index] = MarksOf(burntIn, store_.images.SizeX(index), store_.images.SizeY(index));
    if (store_.images.Shows(index)) RefreshAll();
}

/// As much as the limit allows is read when it is opened, and told of then; always the first image.
PositionImages::Intensities MainFrame::ReadAtOnce(std::size_t index, std::uint64_t& readVoxels,
                                                  GatheredWarnings& warnings) {
    const std::uint64_t most = readAtOnceVoxels_;
    const std::uint64_t voxels = store_.images.VoxelCount(index);
    const bool fits = voxels <= most && readVoxels <= most - voxels;
    readVoxels = fits ? readVoxels + voxels : most;
    const wxString pixelSize = PixelSizeWarning(store_.images.Resolution(index));
    if (!fits && index > 0) {
        warnings.Add(store_.paths[index], pixelSize);
        return nullptr;
    }
    try {
        PositionImages::Intensities image = store_.images.IntensitiesOf(index);
        warnings.Add(store_.paths[index], pixelSize);
        if (fits) NoteBurntIn(index, FindBurntIn(*image), warnings);
        return image;
    } catch (...) {
        RemovePosition(store_, index);
        unsaved_.pop_back();
        burntIn_.pop_back();
        prepared_.pop_back();
        throw;
    }
}

BackgroundReader::Job MainFrame::JobFor(std::size_t index) const {
    BackgroundReader::Job job;
    job.id = store_.images.Id(index);
    job.path = PathBytes(store_.paths[index]);
    return job;
}

BackgroundReader::Job MainFrame::SearchFor(std::size_t index) const {
    BackgroundReader::Job job = JobFor(index);
    job.search = BackgroundReader::Search::kMade;
    job.stored = store_.images.KeptOf(index);
    if (store_.images.Shows(index)) job.intensities = store_.images.IntensitiesOf(index);
    return job;
}

/// The neighbours of the position that is shown come first: the next switch should not wait. The searches for what was
/// burnt in take longest and come last, but for the position that is shown.
void MainFrame::PlanReading() {
    std::vector<BackgroundReader::Job> jobs;
    const std::size_t count = PositionCount(store_);
    const std::size_t current = store_.current;
    const auto isNeighbour = [=](std::size_t index) { return index + 1 == current || index == current + 1; };
    for (const std::size_t i : {current + 1, current - 1}) {
        if (i < count && !store_.images.IsInMemory(i)) jobs.push_back(JobFor(i));
    }
    if (!burntIn_[current]) jobs.push_back(SearchFor(current));
    for (std::size_t i = 0; i < count; ++i) {
        if (!store_.images.WasRead(i) && !isNeighbour(i)) jobs.push_back(JobFor(i));
    }
    for (std::size_t i = 0; i < count; ++i) {
        if (!burntIn_[i] && i != current) jobs.push_back(SearchFor(i));
    }
    try {
        reader_.Read(std::move(jobs));
    } catch (const std::exception&) {
        // Without another thread each image is read when it is shown or analysed.
    }
}

/// Not one of the positions any more; it was never shown.
void MainFrame::RemoveUnreadable(std::size_t index, const std::exception_ptr& failure) {
    series_.failures.push_back(TextOfFailure(FileTask::kLoadInput, store_.paths[index], failure));
    if (unsaved_[index] != 0) {
        // Labels that were restored after a crash can still be saved.
        store_.images.GiveUp(index);
        burntIn_[index] = BurntInMarks();
        return;
    }
    ++series_.outcome.failed;
    --series_.outcome.opened;
    const auto erase = [index](auto& sequence) {
        sequence.erase(sequence.begin() + static_cast<std::ptrdiff_t>(index));
    };
    RemovePosition(store_, index);
    erase(unsaved_);
    erase(burntIn_);
    erase(prepared_);
    erase(results_);
    history_.RemovePosition(index);
    analysed_.RemovePosition(index);
    if (journal_ != nullptr) journal_->RemovePosition(index);
    objects_->Reset(PositionCount(store_));
    if (HasPositions()) SetTitle(TitleOf(store_.current));
}

/// Hands over what was read meanwhile.
void MainFrame::TakeRead() {
    for (BackgroundReader::Result& result : reader_.Take()) {
        const std::optional<std::size_t> index = store_.images.IndexOf(result.id);
        if (!index) continue;
        try {
            if (result.failure) std::rethrow_exception(result.failure);
            if (result.stored) store_.images.Take(*index, result.stored);
        } catch (...) {
            // An image that was read before is read again when it is wanted, and told of then.
            if (!store_.images.WasRead(*index)) RemoveUnreadable(*index, std::current_exception());
            continue;
        }
        if (!result.burntIn || burntIn_[*index]) continue;
        NoteBurntIn(*index, *result.burntIn, series_.doubtful);
    }
}

std::size_t MainFrame::UnreadCount() const {
    std::size_t unread = 0;
    for (std::size_t i = 0; i < PositionCount(store_); ++i) unread += store_.images.WasRead(i) ? 0u : 1u;
    return unread;
}

wxString MainFrame::WithBurntIn(const wxString& text) const {
    const wxString burntIn = burntIn_[store_.current].value_or(BurntInMarks()).text;
    return burntIn.empty() ? text : text + "; " + burntIn;
}

wxString MainFrame::ProgressText() const {
    const std::size_t count = PositionCount(store_);
    return "Reading images: " + std::to_string(count - UnreadCount()) + " of " + std::to_string(count);
}

/// Does not replace what was said just now, and stands behind what lies under the pointer.
void MainFrame::SayProgress() {
    if (!HasBeenRead()) return;
    series_.said = WithBurntIn(ProgressText());
    said_ = series_.said;
    ShowFirstField(pointerText_.empty() ? said_ : pointerText_ + "; " + ProgressText());
}

void MainFrame::TellFailures() {
    for (const FailureText& failure : std::exchange(series_.failures, {})) LogFailure(failure.Lines(), failure.cause);
}

void MainFrame::SayOpened() {
    if (said_ != series_.said) return;
    series_.said = WithBurntIn(OpenedText(series_.outcome));
    Say(series_.said);
}

/// When nothing else is to be done.
void MainFrame::ReadOn() {
    // A position that goes in the middle of a stroke would end its step of the history.
    if (history_.IsOpen() && wxGetMouseState().LeftIsDown()) return;
    TakeRead();
    if (!series_.isRead) {
        if (UnreadCount() > 0) return SayProgress();
        series_.isRead = true;
        TellFailures();
        SayOpened();
    }
    // A search may have to be given up for want of memory, so that not every position need have been searched.
    if (!series_.isSearched && reader_.IsIdle()) {
        series_.isSearched = true;
        WarnOf(std::exchange(series_.doubtful, {}));
        SayOpened();
    }
}

/// Where the thread cannot: it was not to be had, or has nothing left to read.
void MainFrame::ReadOneHere() {
    for (std::size_t i = 0; i < PositionCount(store_); ++i) {
        if (store_.images.WasRead(i)) continue;
        try {
            store_.images.Read(i);
        } catch (...) {
            RemoveUnreadable(i, std::current_exception());
        }
        return;
    }
}

/// What a person does meanwhile waits its turn, but for Cancel in the dialog, which comes when reading takes long.
bool MainFrame::FinishReading() {
    if (UnreadCount() == 0) return true;
    std::vector<BackgroundReader::Job> jobs;
    for (std::size_t i = 0; i < PositionCount(store_); ++i) {
        if (!store_.images.WasRead(i)) jobs.push_back(JobFor(i));
    }
    try {
        reader_.Read(std::move(jobs));
    } catch (const std::exception&) {
        // They are read below.
    }
    const auto begun = std::chrono::steady_clock::now();
    std::unique_ptr<wxProgressDialog> dialog;
    bool isCancelled = false;
    while (UnreadCount() > 0 && !isCancelled) {
        if (reader_.IsIdle()) ReadOneHere();
        constexpr std::chrono::milliseconds kAtOnce{50};
        reader_.WaitFor(kAtOnce);
        TakeRead();
        Say(ProgressText());
        if (dialog == nullptr && std::chrono::steady_clock::now() - begun > dialogAfter_ && UnreadCount() > 0) {
            dialog = std::make_unique<wxProgressDialog>("Please wait ...", ProgressText(),
                                                        static_cast<int>(PositionCount(store_)), this,
                                                        wxPD_APP_MODAL | wxPD_AUTO_HIDE | wxPD_CAN_ABORT);
        }
        const std::size_t count = PositionCount(store_);
        const std::size_t unread = UnreadCount();
        if (dialog != nullptr && unread > 0) {
            // An image that is no position any more may be missing from the count by now.
            dialog->SetRange(static_cast<int>(count));
            isCancelled = !dialog->Update(static_cast<int>(count - unread), ProgressText());
        } else if (wxEventLoopBase* const loop = wxEventLoopBase::GetActive(); loop != nullptr && !loop->IsYielding()) {
            // Paints.
            loop->YieldFor(wxEVT_CATEGORY_UI);
        }
    }
    PlanReading();
    if (isCancelled) Say("Cancelled while images were being read: nothing was done");
    return !isCancelled;
}

/// At the end of a command, so that one message tells of what failed in it and of images that could not be read.
void MainFrame::TellReadFailures() {
    if (!series_.failures.empty() && UnreadCount() == 0) TellFailures();
}

}  // namespace Korvane

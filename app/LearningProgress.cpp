#include "LearningProgress.h"

#include <chrono>
#include <future>
#include <string>

#include <wx/progdlg.h>

#include "support/OpenCVThreads.h"

namespace Korvane {

namespace {

/// Short beside the patience of a person who drags a window or presses Cancel.
constexpr std::chrono::milliseconds kBetweenEvents{30};

}  // namespace

TuningStep LearningProgress::Next(const TuningProgress& progress) {
    dialog_.SetRange(static_cast<int>(progress.steps));
    const std::string text = "Learning from " + progress.text + " (" + std::to_string(progress.stepsDone + 1) + " of " +
                             std::to_string(progress.steps) + ")";
    if (!dialog_.Update(static_cast<int>(progress.stepsDone), wxString::FromUTF8(text))) isCancelled_ = true;
    return isCancelled_ ? TuningStep::kCancel : TuningStep::kGoOn;
}

void LearningProgress::Run(std::size_t count, const std::function<void(std::size_t)>& part) {
    std::future<void> work = std::async(std::launch::async, [&] {
        RunOnOpenCVThreads(count, [&](std::size_t i) {
            if (!isCancelled_) part(i);
        });
    });
    while (work.wait_for(kBetweenEvents) != std::future_status::ready) {
        if (!dialog_.Update(dialog_.GetValue())) isCancelled_ = true;
    }
    work.get();
    // What was left out has no result that the search could read.
    if (isCancelled_) throw TuningCancelled();
}

}  // namespace Korvane

#pragma once

#include <atomic>
#include <cstddef>
#include <functional>

#include "Tuning.h"

class wxProgressDialog;

namespace Korvane {

/// Keeps a progress dialog alive during a search for parameters. The search stays on the calling thread; the detections
/// it asks for run on others, while the dialog handles events. Cancelling ends it when the detections under way are
/// done.
class LearningProgress {
public:
    explicit LearningProgress(wxProgressDialog& dialog) : dialog_(dialog) {}

    /// For TuningOptions::nextStep.
    TuningStep Next(const TuningProgress& progress);
    /// For TuningOptions::run. Throws TuningCancelled once the dialog was cancelled.
    void Run(std::size_t count, const std::function<void(std::size_t)>& part);

private:
    wxProgressDialog& dialog_;
    std::atomic<bool> isCancelled_{false};
};

}  // namespace Korvane

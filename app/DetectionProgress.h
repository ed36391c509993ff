#pragma once

#include <string>

#include "DetectionObserver.h"

class wxProgressDialog;

namespace Korvane {

/// The text of the progress dialog while a stage of an image runs.
std::string ProgressMessage(DetectionStage stage, int imageNumber);

/// Shows the stages of detection in a progress dialog and writes the trace to standard output.
class DetectionProgress : public DetectionObserver {
public:
    explicit DetectionProgress(wxProgressDialog& dialog) : dialog_(dialog) {}

    int ProgressValue() override;
    /// "Image: 1 preprocessing" and so on. Stays one below the dialog's end, which the command itself reaches; at its
    /// end the dialog would close.
    void BeginStage(DetectionStage stage, const StageProgress& progress) override;
    void Trace(const std::string& line) override;

private:
    wxProgressDialog& dialog_;
};

}  // namespace Korvane

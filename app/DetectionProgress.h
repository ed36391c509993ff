#pragma once

#include <string>

#include "DetectionObserver.h"

class wxProgressDialog;

namespace Korvane {

/// Shows the stages of detection in a progress dialog and writes the trace to standard output.
class DetectionProgress : public DetectionObserver {
public:
    explicit DetectionProgress(wxProgressDialog& dialog) : dialog_(dialog) {}

    int ProgressValue() override;
    /// Stays one below the dialog's end, which the command itself reaches; at its end the dialog would close.
    void UpdateProgress(int value, const std::string& message) override;
    void Trace(const std::string& line) override;

private:
    wxProgressDialog& dialog_;
};

}  // namespace Korvane

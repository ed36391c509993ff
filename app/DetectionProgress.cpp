#include "DetectionProgress.h"

#include <algorithm>
#include <cstdio>

#include <wx/progdlg.h>

namespace Korvane {

int DetectionProgress::ProgressValue() { return dialog_.GetValue(); }

void DetectionProgress::UpdateProgress(int value, const std::string& message) {
    // Whoever reads along sees a stage's trace when the next begins.
    std::fflush(stdout);
    dialog_.Update(std::min(value, dialog_.GetRange() - 1), wxString::FromUTF8(message));
}

void DetectionProgress::Trace(const std::string& line) {
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fputc('\n', stdout);
}

}  // namespace Korvane

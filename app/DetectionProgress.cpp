#include "DetectionProgress.h"

#include <algorithm>
#include <cstdio>

#include <wx/progdlg.h>

namespace Korvane {

std::string ProgressMessage(DetectionStage stage, int imageNumber) {
    return "Image: " + std::to_string(imageNumber) + " " + std::string(RowOf(stage).text);
}

int DetectionProgress::ProgressValue() { return dialog_.GetValue(); }

void DetectionProgress::BeginStage(DetectionStage stage, const StageProgress& progress) {
    // Whoever reads along sees a stage's trace when the next begins.
    std::fflush(stdout);
    dialog_.Update(std::min(progress.value, dialog_.GetRange() - 1),
                   wxString::FromUTF8(ProgressMessage(stage, progress.imageNumber)));
}

void DetectionProgress::Trace(const std::string& line) {
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fputc('\n', stdout);
}

}  // namespace Korvane

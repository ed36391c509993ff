#include "ExistingResults.h"

#include <filesystem>
#include <system_error>

#include "ImageRun.h"
#include "PathText.h"

namespace Korvane {

namespace {

bool ImageWasChanged(const ImageFiles& files, const RecordEntry& made) {
    std::error_code unreachable;
    const std::string path = PathBytes(files.input);
    return made.input && std::filesystem::exists(path, unreachable) && !IsUnchanged(path, *made.input);
}

/// Ways in which the record differs; empty when it does not.
wxString Differences(ImageJob& job, const RecordEntry& made) {
    const RecordEntry asked = job.Recorder()->Entry(job.Files(), job.Outcome());
    wxString text = wxString::FromUTF8(DifferenceText(made, asked));
    if (ImageWasChanged(job.Files(), made)) text += wxString(text.empty() ? "" : ", ") + "another image file";
    return text;
}

}  // namespace

void CompareWithRecord(ImageJob& job, RecordCheck check) {
    if (job.Recorder() == nullptr) return;
    const ImageFiles& files = job.Files();
    wxString finding;
    const std::optional<RecordEntry> made = job.Recorder()->Making(files);
    if (made) {
        job.TrySettleResolution();
        const wxString differences = Differences(job, *made);
        if (!differences.empty()) finding = "was made otherwise: " + differences;
    } else if (job.Recorder()->Knows(files)) {
        finding = "was not made by a recorded run, or was changed since";
    } else if (check == RecordCheck::kStrict) {
        finding = "is there, and nothing is recorded of how it was made";
    }
    if (finding.empty()) return;
    const wxString text = "'" + files.labels + "' " + finding;
    if (check == RecordCheck::kStrict) throw ImageFailure{text + ". (--overwrite replaces it)"};
    job.Messages().Warning(text + ". It is kept; --overwrite replaces it.");
}

}  // namespace Korvane

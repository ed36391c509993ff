#include "ExistingResults.h"

#include <filesystem>
#include <system_error>

#include "ImageRun.h"
#include "PathText.h"

namespace Korvane {

namespace {

/// A file that is gone was not changed.
bool WasChanged(const wxString& file, const FileDigest& recorded) {
    std::error_code unreachable;
    const std::string path = PathBytes(file);
    return std::filesystem::exists(path, unreachable) && !IsUnchanged(path, recorded);
}

/// Ways in which the record differs; empty when it does not.
wxString Differences(ImageJob& job, const RecordEntry& made, const LabelStart& start) {
    const RecordEntry asked = job.Recorder()->Entry(job.Files(), job.Outcome());
    wxString text = wxString::FromUTF8(DifferenceText(made, asked));
    const auto add = [&text](const char* difference) { text += wxString(text.empty() ? "" : ", ") + difference; };
    if (made.input && WasChanged(job.Files().input, *made.input)) add("another image file");
    const bool isImport = start.kind == LabelStart::Kind::kImported;
    if (isImport && made.imported && WasChanged(start.path, made.imported->digest)) add("another imported file");
    return text;
}

}  // namespace

void CompareWithRecord(ImageJob& job, RecordCheck check, const LabelStart& start) {
    if (job.Recorder() == nullptr) return;
    const ImageFiles& files = job.Files();
    wxString finding;
    const std::optional<RecordEntry> made = job.Recorder()->Making(files);
    if (made) {
        job.TrySettleResolution();
        const wxString differences = Differences(job, *made, start);
        if (!differences.empty()) finding = "was made otherwise: " + differences;
    } else if (job.Recorder()->Knows(files)) {
        finding = "was not made by a recorded run, or was changed since";
    } else if (check == RecordCheck::kStrict) {
        finding = "is there, and nothing is recorded of how it was made";
    }
    if (finding.empty()) return;
    const wxString text = "'" + files.labels + "' " + finding;
    if (check == RecordCheck::kStrict) throw ImageFailure{{text + ". (--overwrite replaces it)"}};
    job.Messages().Warning(text + ". It is kept; --overwrite replaces it.");
}

}  // namespace Korvane

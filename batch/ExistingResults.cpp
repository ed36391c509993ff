#include "ExistingResults.h"

#include <unistd.h>

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

/// True where the run has other seeds than those of the record. Labels that were made over their own seeds have none
/// any more.
bool HasOtherSeeds(const ImageFiles& files, const RecordEntry& made, const wxString& seeds) {
    const std::string path = PathBytes(seeds);
    std::error_code unreachable;
    if (!made.seeds || std::filesystem::equivalent(path, PathBytes(files.labels), unreachable)) return false;
    return ::access(path.c_str(), R_OK) == 0 && WasChanged(seeds, *made.seeds);
}

/// Ways in which the record differs; empty when it does not.
wxString Differences(ImageJob& job, const RecordEntry& made, const LabelStart& start) {
    const bool isRead = job.TrySettleResolution();
    RecordEntry asked = job.Recorder()->Entry(job.Files(), job.Outcome());
    if (!isRead) asked.pixelSize = made.pixelSize;  // nothing is known of it
    asked.annotations = job.Recorder()->Annotations();
    wxString text = wxString::FromUTF8(DifferenceText(made, asked));
    const auto add = [&text](const char* difference) { text += wxString(text.empty() ? "" : ", ") + difference; };
    if (made.input && WasChanged(job.Files().input, *made.input)) add("another image file");
    const bool isImport = start.kind == LabelStart::Kind::kImported;
    if (isImport && made.imported && WasChanged(start.path, made.imported->digest)) add("another imported file");
    const bool isSegmentation = start.kind == LabelStart::Kind::kSeeds;
    if (isSegmentation && HasOtherSeeds(job.Files(), made, start.path)) add("another file of seeds");
    return text;
}

}  // namespace

void CompareWithRecord(ImageJob& job, RecordCheck check, const LabelStart& start) {
    if (job.Recorder() == nullptr) return;
    const ImageFiles& files = job.Files();
    wxString finding;
    const std::optional<RecordEntry> made = job.Recorder()->Making(files);
    const wxString damage = job.Recorder()->UntoldDamage(files);
    if (!damage.empty()) job.Messages().Warning(damage);
    if (made) {
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

#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <wx/string.h>

#include "AnalysisParameters.h"
#include "FilePlan.h"
#include "RecordLog.h"

namespace Korvane {

struct ImageOutcome;

/// How a run makes labels.
struct RunRecord {
    std::string command;
    std::optional<AnalysisParameters> parameters;  ///< none: without an analysis
    std::string withoutStart;  ///< result of an image that lacks the file which the labels start from
    std::string preparation;   ///< the options of it; empty without any
    std::optional<UsedFile> parametersFile = {};  ///< that some of the parameters were read from
    std::optional<std::string> annotationsFile = {};  ///< whose pixels other than 0 are filled
};

/// Nanometres of pixels per micrometre, as the shortest decimal of single precision: files store no more. None where
/// the number is not above 0.
std::optional<double> PixelSizeInNm(float perUm);

/// Whether the end of a run writes korvane-run.json.
enum class RunDocument { kWritten, kLeft };

/// The present time, UTC, ISO 8601.
std::string TimeText();

/// Keeps the records of the folders that a run writes labels into (RecordLog.h) while it goes on, and leaves
/// korvane-run.json in each at its end. Any thread may call it. Failures to write are reported at the end.
class RunRecorder {
public:
    explicit RunRecorder(RunRecord record);

    /// The entry of an image without its result: the request, and the pixel size that holds.
    RecordEntry Entry(const ImageFiles& files, const ImageOutcome& outcome) const;
    const std::string& ResultWithoutStart() const { return record_.withoutStart; }
    const std::optional<std::string>& AnnotationsFile() const { return record_.annotationsFile; }
    /// That file as it was when this was called first; none where there is none, or it cannot be read.
    std::optional<UsedFile> Annotations();

    /// Adds an entry to the record of the image's folder.
    void Append(const ImageFiles& files, const RecordEntry& entry);

    /// How the label file that is there was made, as far as the record tells.
    std::optional<RecordEntry> Making(const ImageFiles& files);
    /// True when the record knows the label file's name, however it was made.
    bool Knows(const ImageFiles& files);
    /// What cannot be read of the record of the image's folder; empty where nothing is lost, and after the first call.
    wxString UntoldDamage(const ImageFiles& files);

    /// The folder of labels of a shard without images gets a record too, where it has none: it tells merge that no image
    /// is missing.
    void RecordNoImages(const std::string& folder);

    /// Notes the end of the run in each folder that it wrote into, and where asked for prints their records to
    /// korvane-run.json, which looks at every label file of the folder. Returns the texts of everything that could not
    /// be recorded.
    std::vector<wxString> Finish(bool interrupted, RunDocument document = RunDocument::kWritten);

private:
    struct Folder {
        std::optional<RecordIndex> index;  ///< read at the first query
        bool isDamageTold = false;
        bool hasEntries = false;           ///< of this run
        bool hasFailed = false;
    };
    RecordIndex& IndexOf(const ImageFiles& files);
    void NoteFailure(Folder& folder);

    RunRecord record_;
    std::string started_;
    std::mutex mutex_;
    std::optional<std::optional<UsedFile>> annotations_;  // none: not looked at yet
    std::map<std::string, Folder> folders_;
    std::vector<wxString> failures_;
};

}  // namespace Korvane

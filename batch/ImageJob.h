#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <wx/string.h>

#include "Deadline.h"
#include "EdgeProfiles.h"
#include "ExceptionText.h"
#include "FailureText.h"
#include "FilePlan.h"
#include "ImageLoading.h"
#include "OptionGroups.h"
#include "PathText.h"
#include "PixelResolution.h"
#include "PositionStore.h"
#include "Progress.h"
#include "ResultFiles.h"
#include "RunRecorder.h"
#include "files/ImageFile.h"
#include "operations/PartRunner.h"

namespace Korvane {

struct ImageRun;

/// How the work on one image ended.
enum class ImageState {
    kNotStarted,  ///< the run was interrupted before
    kDone,
    kSkipped,   ///< its labels exist already and were not to be replaced
    kNoLabels,  ///< there were no labels to work on
    kFailed,
    kAbandoned,  ///< the run was interrupted meanwhile
};

/// The data kept of an image when its voxels are released.
struct ImageOutcome {
    ImageState state = ImageState::kNotStarted;
    qvox::PixelResolution resolution;  ///< the one used, pixels per micrometre
    wxString resolutionSource;
    std::optional<double> givenPixelSizeNm;  ///< where the run gave it
    std::optional<std::uint64_t> page;       ///< of the file, from 1; none before it was looked at
    std::string prepared;                    ///< what was left out or filled for the analysis
    bool hasFurtherPages = false;            ///< the file has pages that were not read
    std::size_t objectCount = 0;
    std::optional<std::size_t> countedObjects;  ///< of a selection, where the run makes one
    double seconds = 0.0;
    FailureText error;           ///< set when state is kFailed
    std::vector<wxString> rows;  ///< of the measurement table, when one is made
    std::string objectRows;      ///< of the table of objects, when one is made
};

/// The file that labels were made from beside their image, if any.
struct LabelStart {
    enum class Kind { kNone, kSeeds, kImported };
    Kind kind = Kind::kNone;
    wxString path;
};

/// A failure that has its text already.
struct ImageFailure {
    FailureText text;
};

/// Runs one file task and turns its failure into the task's message; an image whose time is over is no failure of it.
template <typename Work>
auto DoFileTask(FileTask task, const wxString& name, Work work) {
    try {
        return work();
    } catch (const TimeLimitReached&) {
        throw;
    } catch (...) {
        throw ImageFailure{TextOfFailure(task, name, std::current_exception())};
    }
}

/// An image's part in a run.
struct ImageTurn {
    std::size_t number;                ///< its place, from 1
    const qvox::PartRunner& runParts;  ///< runs the parts of its analysis
    Deadline deadline;
};

/// The work of one run on one image: the steps that the commands' own work is made of. What fails throws ImageFailure.
class ImageJob {
public:
    ImageJob(const ImageRun& run, const ImageFiles& files, const ImageTurn& turn, Progress& progress)
        : run_(run), files_(files), turn_(turn), progress_(progress) {}
    ImageJob(const ImageJob&) = delete;
    ImageJob& operator=(const ImageJob&) = delete;

    const ImageFiles& Files() const { return files_; }
    wxString Name() const { return FileNameOf(files_.input); }
    /// The image's place in the run, from 1.
    std::size_t Number() const { return turn_.number; }
    const qvox::PartRunner& RunParts() const { return runParts_; }
    /// To be checked between the steps of the work, as long as none of its results is written.
    const Deadline& TimeLeft() const { return turn_.deadline; }
    /// Tables and overlay of labels that are there are made whatever the time: those of a run would lack them else.
    void LiftTimeLimit() { turn_.deadline = Deadline(std::nullopt); }
    Progress& Messages() { return progress_; }
    ImageOutcome& Outcome() { return outcome_; }
    /// How many stages the progress has shown of this image.
    std::size_t StagesTold() const { return stagesTold_; }
    void NoteStages(std::size_t told) { stagesTold_ = told; }

    /// Where the run keeps records; none when it makes no labels.
    RunRecorder* Recorder() const;
    /// Since the work on the image began.
    double Seconds() const;

    /// The contents of the image's file; a failure when it is of no type for the analysis.
    qvox::ImageFileInfo Inspect();
    /// The same for a file of any type.
    qvox::ImageFileInfo InspectAnyType();
    /// The image with empty labels, both with the pixel size that holds for it.
    Position Load();
    /// Notes the pixel size that holds for the image. False where its file cannot be read.
    bool TrySettleResolution();
    /// To be called before a file is read that the image's labels are made from, beside the image. Nothing where the
    /// run keeps no records.
    void HoldSource(const wxString& path);
    /// Writes the labels that were made of the image, and the entry that tells how. A failure when the image, or what
    /// else they were made from, is no longer the file that was read.
    void KeepLabels(const qvox::LabelImage& labels, const LabelStart& start);
    /// Reads a result file into labels of the image's sizes and notes the number of objects.
    LabelsFound ReadLabels(const wxString& from, qvox::LabelImage& labels);
    /// Measures a result file; of the image itself only the sizes and the pixel size are read where the run makes no
    /// table of objects.
    LabelsFound MeasureFile(const wxString& from);
    /// The rows of the tables that the run makes.
    void MakeRows(const Position& position);
    void PaintOverlay(const Position& position, const OverlayStyle& style);
    /// Measures see only what a preparation has left: pixels of `excluded` other than 0, of the image's sizes, and
    /// what lies beyond `part` are not looked at.
    void RestrictMeasures(qvox::VoxelImage<std::uint8_t> excluded, const std::optional<ImagePart>& part) {
        excluded_ = std::move(excluded);
        part_ = part;
    }
    /// What measures may look at, and for how long: as long as the job is there.
    EdgeProfileOptions Profiles() const {
        return {excluded_.Empty() ? nullptr : &excluded_, part_, [this] { TimeLeft().Check(); }};
    }
    void TellNoLabels();
    /// A warning that begins with the image's path; none for an empty text.
    void Warn(const wxString& text);
    /// What was said of the image so far, without its path.
    const std::vector<wxString>& Warnings() const { return warnings_; }

private:
    void NoteInfo(const qvox::ImageFileInfo& info);
    /// The pixel size that holds for this image: the one given for the run, or the file's.
    template <typename T>
    void SettleResolution(qvox::VoxelImage<T>& image, const qvox::ImageFileInfo& info);
    void WarnWithoutPixelSize();
    /// The entry of labels that were made, but for the label file; takes the digests of their sources.
    RecordEntry EntryOfSources(const LabelStart& start) const;
    FileDigest SourceDigest(const wxString& path) const;
    void MakeTableRows(const qvox::LabelImage& labels);
    LabelsFound NoteCount(const qvox::LabelImage& labels, LabelsFound found);

    const ImageRun& run_;
    const ImageFiles& files_;
    ImageTurn turn_;
    Progress& progress_;
    // Each set of parts begins on the thread of the image, which may leave.
    qvox::PartRunner runParts_ = [this](std::size_t count, const std::function<void(std::size_t)>& part) {
        turn_.deadline.Check();
        turn_.runParts(count, part);
    };
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    ImageOutcome outcome_;
    qvox::VoxelImage<std::uint8_t> excluded_;  // empty: nothing is
    std::optional<ImagePart> part_;            // none: all of the image
    std::map<wxString, SourceFile> sources_;   // what labels are made from
    std::vector<wxString> warnings_;           // said of this image
    std::size_t stagesTold_ = 0;
};

/// Does a run's work on one image and reports its progress. Never throws: a failure becomes the outcome's error. Only
/// the files of this image are written, each complete or absent.
ImageOutcome ProcessImage(const ImageRun& run, const ImageFiles& files, const ImageTurn& turn, Progress& progress);

}  // namespace Korvane

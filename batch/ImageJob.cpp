#include "ImageJob.h"

#include <chrono>
#include <exception>
#include <filesystem>
#include <utility>

#include "Calibration.h"
#include "DetectionDriver.h"
#include "ExceptionText.h"
#include "FailureText.h"
#include "ImageLoading.h"
#include "Interrupt.h"
#include "LabelPainter.h"
#include "MeasurementTable.h"
#include "PathText.h"
#include "PositionStore.h"
#include "ResultFiles.h"
#include "SeededSegmentation.h"
#include "StageWriter.h"
#include "files/ImageFile.h"

namespace Korvane {

namespace {

/// A failure that has its text already.
struct ImageFailure {
    wxString text;
};

/// Runs one file task and turns its failure into the task's message.
template <typename Work>
auto DoFileTask(FileTask task, const wxString& name, Work work) {
    try {
        return work();
    } catch (...) {
        throw ImageFailure{FailureMessage(task, name, std::current_exception())};
    }
}

/// The work of one run on one image.
class ImageJob {
public:
    ImageJob(const BatchOptions& options, const ImageFiles& files, std::size_t number, Progress& progress)
        : options_(options), files_(files), number_(number), progress_(progress) {}

    void Run() {
        switch (options_.command) {
            case BatchCommand::kDetect:
            case BatchCommand::kSegment:
                MakeLabels();
                break;
            case BatchCommand::kMeasure:
                Measure();
                break;
            case BatchCommand::kOverlay:
                DrawExisting();
                break;
            case BatchCommand::kCalibrate:
                Calibrate();
                break;
            case BatchCommand::kInfo:
                break;
        }
    }

    ImageOutcome& Outcome() { return outcome_; }
    std::size_t StagesTold() const { return stagesTold_; }

private:
    wxString Name() const { return FileNameOf(files_.input); }

    qvox::ImageFileInfo Inspect() const {
        return DoFileTask(FileTask::kLoadInput, files_.input, [this] {
            qvox::ImageFileInfo info = qvox::InspectImageFile(PathBytes(files_.input));
            if (!IsInputType(info.type)) throw UnsupportedPixelType();
            return info;
        });
    }

    /// The pixel size that holds for this image: the one given for the run, or the file's.
    template <typename T>
    void SettleResolution(qvox::VoxelImage<T>& image, const qvox::ImageFileInfo& info) {
        if (options_.pixelSizeNm) {
            const float perUm = static_cast<float>(1000.0 / *options_.pixelSizeNm);
            image.SetResolution({perUm, perUm, image.Resolution().z});
            outcome_.resolutionSource = "--pixel-size";
        } else {
            outcome_.resolutionSource = PathText(info.resolutionNote);
        }
        outcome_.resolution = image.Resolution();
    }

    Position Load() {
        const qvox::ImageFileInfo info = Inspect();
        Position position =
            DoFileTask(FileTask::kLoadInput, files_.input, [this] { return LoadPosition(files_.input); });
        SettleResolution(position.image, info);
        position.labels.SetResolution(position.image.Resolution());
        return position;
    }

    LabelsFound ReadLabels(const wxString& from, qvox::LabelImage& labels) {
        return NoteCount(labels, DoFileTask(FileTask::kLoadResults, Name(), [&] { return LoadLabels(from, labels); }));
    }

    LabelsFound NoteCount(const qvox::LabelImage& labels, LabelsFound found) {
        if (found == LabelsFound::kLoaded) outcome_.objectCount = CountLabels(labels);
        return found;
    }

    void MakeRows(const qvox::LabelImage& labels) {
        const bool onStandardOutput = options_.command == BatchCommand::kMeasure;
        if (!options_.table && !onStandardOutput) return;
        const auto& [x, y, z] = outcome_.resolution;
        if ((x <= 0.0f || y <= 0.0f) && outcome_.objectCount > 0) {
            const wxString missing = x <= 0.0f && y <= 0.0f ? "no pixel size: measured as if a pixel were 1000 nm wide."
                                     : x <= 0.0f ? "no pixel width: measured as if a pixel were 1000 nm wide."
                                                 : "no pixel height: measured as if a pixel were 1000 nm high.";
            progress_.Warning("'" + files_.input + "' stores " + missing + " Give the true one with --pixel-size.");
        }
        outcome_.rows = MeasurementRows(files_.input, labels);
    }

    void DrawPicture(const Position& position) {
        DoFileTask(FileTask::kExportPicture, Name(), [&] {
            qvox::SaveImageFile(PathBytes(files_.picture),
                                PaintPosition(position.image, position.labels, options_.style));
            return 0;
        });
    }

    void MakeLabels() {
        std::error_code unreachable;
        if (options_.existing == ExistingLabels::kSkip &&
            std::filesystem::exists(PathBytes(files_.labels), unreachable)) {
            UseExistingLabels();
            return;
        }
        Position position = Load();
        if (options_.command == BatchCommand::kSegment && !ReadSeeds(position.labels)) return;
        if (outcome_.resolution.x <= 0.0f) {
            throw ImageFailure{"Cannot " + Verb() + " '" + files_.input +
                               "'! (The file stores no pixel size; give it with --pixel-size NM)"};
        }
        Analyse(position);
        DoFileTask(FileTask::kSaveResults, Name(), [&] {
            SaveLabels(files_.labels, position.labels);
            return 0;
        });
        outcome_.objectCount = CountLabels(position.labels);
        outcome_.state = ImageState::kDone;
        MakeRows(position.labels);
        if (options_.overlay) DrawPicture(position);
    }

    wxString Verb() const {
        return options_.command == BatchCommand::kDetect ? "detect the exosomes in" : "segment the exosomes in";
    }

    void Analyse(Position& position) {
        StageWriter observer(options_, files_, position.image.Resolution(), progress_);
        try {
            if (options_.command == BatchCommand::kDetect) {
                DetectExosomes(position.image, position.labels, options_.parameters, position.image.Resolution().x,
                               observer);
            } else {
                SegmentFromSeeds(position.image, position.labels, position.image.Resolution().x,
                                 options_.parameters.minObjectDiameterUm);
            }
            stagesTold_ = observer.StagesTold();
        } catch (const RunInterrupted&) {
            stagesTold_ = observer.StagesTold();
            throw;
        } catch (...) {
            stagesTold_ = observer.StagesTold();
            throw ImageFailure{"Cannot " + Verb() + " '" + files_.input + "'! (" +
                               ExceptionText(std::current_exception()) + ")"};
        }
    }

    bool ReadSeeds(qvox::LabelImage& labels) {
        if (ReadLabels(files_.seeds, labels) == LabelsFound::kLoaded && outcome_.objectCount > 0) return true;
        progress_.Warning(wxString::Format("The position number %d was not segmented due to missing seeds!",
                                           static_cast<int>(number_)) +
                          " ('" + files_.seeds + "')");
        outcome_.state = ImageState::kNoLabels;
        return false;
    }

    void UseExistingLabels() {
        outcome_.state = ImageState::kSkipped;
        progress_.Note("'" + files_.input + "' is skipped: '" + files_.labels + "' exists (--overwrite replaces it).");
        if (options_.overlay) {
            Position position = Load();
            if (ReadLabels(files_.labels, position.labels) == LabelsFound::kNoFile) return;
            MakeRows(position.labels);
            DrawPicture(position);
        } else if (options_.table) {
            MeasureFile(files_.labels);
        }
    }

    /// Measures a result file; of the image itself only the sizes and the pixel size are read.
    LabelsFound MeasureFile(const wxString& from) {
        const qvox::ImageFileInfo info = Inspect();
        qvox::LabelImage labels;
        const LabelsFound found =
            NoteCount(labels, DoFileTask(FileTask::kLoadResults, Name(), [&] {
                          return LoadNewLabels(from, {info.sizeX, info.sizeY, info.sizeZ}, labels);
                      }));
        labels.SetResolution(info.resolution);
        SettleResolution(labels, info);
        if (found == LabelsFound::kLoaded) MakeRows(labels);
        return found;
    }

    void Measure() {
        outcome_.state = MeasureFile(files_.seeds) == LabelsFound::kLoaded ? ImageState::kDone : ImageState::kNoLabels;
        if (outcome_.state == ImageState::kNoLabels) TellNoLabels();
    }

    void DrawExisting() {
        Position position = Load();
        outcome_.state = ImageState::kDone;
        if (options_.style != LabelStyle::kNone && ReadLabels(files_.seeds, position.labels) == LabelsFound::kNoFile) {
            outcome_.state = ImageState::kNoLabels;
            TellNoLabels();
            return;
        }
        DrawPicture(position);
    }

    void Calibrate() {
        std::error_code unreachable;
        if (options_.existing == ExistingLabels::kSkip &&
            std::filesystem::exists(PathBytes(files_.copy), unreachable)) {
            outcome_.state = ImageState::kSkipped;
            progress_.Note("'" + files_.input + "' is skipped: '" + files_.copy +
                           "' exists (--overwrite replaces it).");
            return;
        }
        const qvox::ImageFileInfo info = Inspect();
        const float perUm = static_cast<float>(1000.0 / options_.pixelSizeNm.value());
        const bool hasOne = info.resolution.x > 0.0f || info.resolution.y > 0.0f;
        if (hasOne && options_.existingPixelSize == ExistingPixelSize::kRefuse &&
            !HasPixelSize(info.resolution, perUm)) {
            throw ImageFailure{"Cannot calibrate '" + files_.input + "'! (The file stores " +
                               PixelSizeText(info.resolution) + " (" + PathText(info.resolutionNote) +
                               "); --force replaces it)"};
        }
        try {
            WriteCalibratedCopy(PathBytes(files_.input), PathBytes(files_.copy), info.type, perUm);
        } catch (...) {
            throw ImageFailure{"Cannot calibrate '" + files_.input + "'! (" + ExceptionText(std::current_exception()) +
                               ")"};
        }
        outcome_.resolution = {perUm, perUm, info.resolution.z};
        outcome_.state = ImageState::kDone;
    }

    void TellNoLabels() {
        progress_.Warning("'" + files_.input + "' is left out: there is no '" + files_.seeds + "'.");
    }

    const BatchOptions& options_;
    const ImageFiles& files_;
    std::size_t number_;
    Progress& progress_;
    ImageOutcome outcome_;
    std::size_t stagesTold_ = 0;
};

wxString SummaryOf(BatchCommand command, const ImageOutcome& outcome) {
    switch (outcome.state) {
        case ImageState::kDone:
            if (command == BatchCommand::kCalibrate) return PixelSizeText(outcome.resolution);
            return wxString::Format("%lu objects", static_cast<unsigned long>(outcome.objectCount)) + ", " +
                   wxString::FromCDouble(outcome.seconds, 1) + " s";
        case ImageState::kSkipped:
            return "skipped";
        case ImageState::kNoLabels:
            return "no labels";
        case ImageState::kFailed:
            return "failed";
        case ImageState::kAbandoned:
        case ImageState::kNotStarted:
            break;
    }
    return "interrupted";
}

}  // namespace

ImageOutcome ProcessImage(const BatchOptions& options, const ImageFiles& files, std::size_t number,
                          Progress& progress) {
    const auto start = std::chrono::steady_clock::now();
    ImageJob job(options, files, number, progress);
    ImageOutcome& outcome = job.Outcome();
    try {
        job.Run();
    } catch (const RunInterrupted&) {
        outcome.state = ImageState::kAbandoned;
    } catch (const ImageFailure& failure) {
        outcome.error = failure.text;
    } catch (...) {
        outcome.error = "Cannot work on '" + files.input + "'! (" + ExceptionText(std::current_exception()) + ")";
    }
    if (!outcome.error.empty()) {
        outcome.state = ImageState::kFailed;
        progress.Error(outcome.error);
    }
    outcome.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    progress.ImageDone(job.StagesTold(), files.input + ": " + SummaryOf(options.command, outcome));
    return std::move(outcome);
}

}  // namespace Korvane

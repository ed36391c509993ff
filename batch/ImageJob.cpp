#include "ImageJob.h"

#include <algorithm>
#include <utility>

#include "CompleteFile.h"
#include "ImageRun.h"
#include "ImageWarnings.h"
#include "InspectedImage.h"
#include "Interrupt.h"
#include "MeasurementTable.h"
#include "ObjectMeasures.h"
#include "OverlayPainting.h"
#include "PathText.h"
#include "PngEncoding.h"
#include "ToolkitError.h"

namespace Korvane {

namespace {

/// Labels that were made have their entry already; what became of the others is said here.
void RecordFailure(ImageJob& job) {
    const ImageOutcome& outcome = job.Outcome();
    if (job.Recorder() == nullptr) return;
    if (outcome.state != ImageState::kFailed && outcome.state != ImageState::kNoLabels) return;
    RecordEntry entry = job.Recorder()->Entry(job.Files(), outcome);
    entry.result = outcome.state == ImageState::kFailed ? "failed" : job.Recorder()->ResultWithoutStart();
    entry.error = outcome.error.Lines().utf8_string();
    job.Recorder()->Append(job.Files(), entry);
}

wxString SummaryOf(const ImageRun& run, const ImageOutcome& outcome) {
    switch (outcome.state) {
        case ImageState::kDone:
            return run.doneText(outcome);
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

qvox::ImageFileInfo ImageJob::InspectAnyType() {
    turn_.deadline.Check();
    qvox::ImageFileInfo info = DoFileTask(FileTask::kLoadInput, files_.input, [this] {
        return qvox::InspectImageFile(PathBytes(files_.input), run_.input.reading);
    });
    NoteInfo(info);
    return info;
}

void ImageJob::NoteInfo(const qvox::ImageFileInfo& info) {
    outcome_.page = info.page;
    outcome_.hasFurtherPages = run_.input.reading.page == 0 && qvox::HasFurtherPages(info);
}

qvox::ImageFileInfo ImageJob::Inspect() {
    qvox::ImageFileInfo info = InspectAnyType();
    return DoFileTask(FileTask::kLoadInput, files_.input, [this, &info] {
        if (!IsInputType(info.type)) RefuseInputType(PathBytes(files_.input), info);
        return info;
    });
}

template <typename T>
void ImageJob::SettleResolution(qvox::VoxelImage<T>& image, const qvox::ImageFileInfo& info) {
    const GivenPixelSize& given = run_.pixelSize;
    const bool always = given.holds == GivenPixelSize::Holds::kAlways;
    const bool missing = info.resolution.x <= 0.0f || info.resolution.y <= 0.0f;
    outcome_.resolutionSource = PathText(info.resolutionNote);
    if (given.nm && (always || missing)) {
        const float perUm = static_cast<float>(1000.0 / *given.nm);
        image.SetResolution({perUm, perUm, image.Resolution().z});
        const wxString option = always ? "--pixel-size" : "--pixel-size-if-missing";
        Warn(ReplacedPixelSizeWarning(info.resolution, outcome_.resolutionSource, image.Resolution(), option));
        outcome_.resolutionSource = option;
        outcome_.givenPixelSizeNm = given.nm;
    }
    outcome_.resolution = image.Resolution();
    Warn(PixelSizeWarning(outcome_.resolution));
}

RunRecorder* ImageJob::Recorder() const { return run_.recorder.get(); }

double ImageJob::Seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
}

bool ImageJob::TrySettleResolution() {
    try {
        const qvox::ImageFileInfo info = Inspect();
        qvox::LabelImage none;
        none.SetResolution(info.resolution);
        SettleResolution(none, info);
        return true;
    } catch (const ImageFailure&) {
        // An image that cannot be read has labels all the same; nothing is known of its pixel size.
        return false;
    }
}

void ImageJob::HoldSource(const wxString& path) {
    if (Recorder() != nullptr) sources_.try_emplace(path, PathBytes(path));
}

FileDigest ImageJob::SourceDigest(const wxString& path) const {
    try {
        return sources_.at(path).Digest();
    } catch (const qvox::ToolkitError& error) {
        throw ImageFailure{{"Cannot keep the labels of '" + files_.input + "'! (" + PathText(error.what()) + ")"}};
    }
}

RecordEntry ImageJob::EntryOfSources(const LabelStart& start) const {
    RecordEntry entry = Recorder()->Entry(files_, outcome_);
    entry.result = "done";
    entry.objects = outcome_.objectCount;
    entry.input = SourceDigest(files_.input);
    if (start.kind == LabelStart::Kind::kSeeds) entry.seeds = SourceDigest(start.path);
    if (start.kind == LabelStart::Kind::kImported) {
        entry.imported = {start.path.utf8_string(), SourceDigest(start.path)};
    }
    if (const auto& file = Recorder()->AnnotationsFile()) entry.annotations = {*file, SourceDigest(PathText(*file))};
    return entry;
}

void ImageJob::KeepLabels(const qvox::LabelImage& labels, const LabelStart& start) {
    outcome_.objectCount = CountLabels(labels);
    RecordEntry entry;
    if (Recorder() != nullptr) entry = EntryOfSources(start);
    // The entry is written when the labels are, but before they get their name: whenever the run is ended, labels that
    // are there are described, and an entry without its labels describes nothing.
    const auto record = [&](int descriptor) {
        outcome_.seconds = Seconds();
        entry.seconds = outcome_.seconds;
        entry.time = TimeText();
        entry.output = DigestOf(descriptor);
        Recorder()->Append(files_, entry);
    };
    DoFileTask(FileTask::kSaveResults, Name(), [&] {
        SaveLabels(files_.labels, labels, Recorder() != nullptr ? record : qvox::BeforeRename());
        return 0;
    });
    sources_.clear();
}

Position ImageJob::Load() {
    turn_.deadline.Check();
    HoldSource(files_.input);
    // The file is opened once: on a shared file system each look at it is a message to a server.
    Position position = DoFileTask(FileTask::kLoadInput, files_.input, [this] {
        qvox::OpenImageFile file(PathBytes(files_.input), run_.input.reading);
        NoteInfo(file.Info());
        Position loaded = LoadOpened(files_.input, file);
        SettleResolution(loaded.image, file.Info());
        return loaded;
    });
    turn_.deadline.Check();
    position.labels.SetResolution(position.image.Resolution());
    return position;
}

LabelsFound ImageJob::ReadLabels(const wxString& from, qvox::LabelImage& labels) {
    return NoteCount(labels, DoFileTask(FileTask::kLoadResults, Name(), [&] { return LoadLabels(from, labels); }));
}

LabelsFound ImageJob::NoteCount(const qvox::LabelImage& labels, LabelsFound found) {
    turn_.deadline.Check();
    if (found == LabelsFound::kLoaded) outcome_.objectCount = CountLabels(labels);
    return found;
}

void ImageJob::WarnWithoutPixelSize() {
    const auto& [x, y, z] = outcome_.resolution;
    if ((x > 0.0f && y > 0.0f) || outcome_.objectCount == 0) return;
    const wxString missing = x <= 0.0f && y <= 0.0f ? "no pixel size: measured as if a pixel were 1000 nm wide."
                             : x <= 0.0f            ? "no pixel width: measured as if a pixel were 1000 nm wide."
                                                    : "no pixel height: measured as if a pixel were 1000 nm high.";
    progress_.Warning("'" + files_.input + "' stores " + missing + " Give the true one with --pixel-size.");
}

void ImageJob::MakeTableRows(const qvox::LabelImage& labels) {
    if (run_.MakesTable() || run_.places.csv) WarnWithoutPixelSize();
    if (!run_.MakesTable()) return;
    outcome_.rows = DoFileTask(FileTask::kMeasure, Name(), [&] { return MeasurementRows(files_.input, labels); });
    turn_.deadline.Check();
}

void ImageJob::MakeRows(const Position& position) {
    MakeTableRows(position.labels);
    if (!run_.places.csv) return;
    outcome_.objectRows = DoFileTask(FileTask::kMeasure, Name(), [&] {
        const ObjectTableImage image{files_.input, outcome_.resolution, outcome_.resolutionSource, outcome_.prepared};
        const std::vector<ObjectMeasures> objects = MeasureEverything(position.image, position.labels, Profiles());
        const ObjectSelection& selection = run_.objectTable.Selection();
        const auto counts = [&](const ObjectMeasures& object) { return WhyNotCounted(selection, object).empty(); };
        const auto counted = static_cast<std::size_t>(std::count_if(objects.begin(), objects.end(), counts));
        if (selection.LeavesOut() || counted < objects.size()) outcome_.countedObjects = counted;
        return run_.objectTable.Rows(image, objects);
    });
    turn_.deadline.Check();
}

void ImageJob::PaintOverlay(const Position& position, const OverlayStyle& style) {
    turn_.deadline.Check();
    DoFileTask(FileTask::kExportPicture, Name(), [&] {
        const ColourPicture painted = PaintOverlayOf(position, style, Profiles());
        turn_.deadline.Check();
        const std::string path = PathBytes(files_.picture);
        if (run_.places.overlayFormat == OverlayFormat::kPng) {
            WriteCompleteFile(path, EncodePng(painted));
        } else {
            qvox::SaveImageFile(path, painted);
        }
        return 0;
    });
}

LabelsFound ImageJob::MeasureFile(const wxString& from) {
    if (run_.places.csv) {
        Position position = Load();
        const LabelsFound found = ReadLabels(from, position.labels);
        if (found == LabelsFound::kLoaded) MakeRows(position);
        return found;
    }
    const qvox::ImageFileInfo info = Inspect();
    qvox::LabelImage labels;
    const LabelsFound found = NoteCount(labels, DoFileTask(FileTask::kLoadResults, Name(), [&] {
                                            return LoadNewLabels(from, {info.sizeX, info.sizeY, info.sizeZ}, labels);
                                        }));
    labels.SetResolution(info.resolution);
    SettleResolution(labels, info);
    if (found == LabelsFound::kLoaded) MakeTableRows(labels);
    return found;
}

void ImageJob::Warn(const wxString& text) {
    // An image whose labels exist is looked at twice: for the record, and for its table or overlay.
    if (text.empty() || std::find(warnings_.begin(), warnings_.end(), text) != warnings_.end()) return;
    warnings_.push_back(text);
    progress_.Warning("'" + files_.input + "' " + text);
}

void ImageJob::TellNoLabels() {
    progress_.Warning("'" + files_.input + "' is left out: there is no '" + files_.seeds + "'.");
}

wxString ObjectsText(const ImageOutcome& outcome) {
    wxString text = wxString::Format("%zu objects", outcome.objectCount);
    if (outcome.countedObjects) text += wxString::Format(", %zu counted", *outcome.countedObjects);
    return text + ", " + wxString::FromCDouble(outcome.seconds, 1) + " s";
}

ImageOutcome ProcessImage(const ImageRun& run, const ImageFiles& files, const ImageTurn& turn, Progress& progress) {
    ImageJob job(run, files, turn, progress);
    ImageOutcome& outcome = job.Outcome();
    try {
        run.work(job);
    } catch (const RunInterrupted&) {
        outcome.state = ImageState::kAbandoned;
    } catch (const ImageFailure& failure) {
        outcome.error = failure.text;
    } catch (const TimeLimitReached& limit) {
        outcome.error.message = "Cannot work on '" + files.input + "'! (" + wxString(limit.what()) + ")";
    } catch (...) {
        outcome.error.message =
            "Cannot work on '" + files.input + "'! (" + ExceptionText(std::current_exception(), files.input) + ")";
    }
    // What went wrong with labels that were kept says nothing of how they were made.
    const bool wasSkipped = outcome.state == ImageState::kSkipped;
    if (!outcome.error.message.empty()) {
        outcome.state = ImageState::kFailed;
        progress.Error(outcome.error);
    }
    outcome.seconds = job.Seconds();
    if (!wasSkipped) RecordFailure(job);
    progress.ImageDone(job.StagesTold(), files.input + ": " + SummaryOf(run, outcome));
    return std::move(outcome);
}

}  // namespace Korvane

#include "Labelling.h"

#include <CLI/CLI.hpp>
#include <exception>
#include <filesystem>
#include <memory>
#include <system_error>

#include "ExceptionText.h"
#include "ImageRun.h"
#include "Interrupt.h"
#include "PathText.h"
#include "PixelHeight.h"
#include "StageWriter.h"

namespace Korvane {

namespace {

LabelStart StartOf(const ImageFiles& files, const LabelMaker& maker) {
    return maker.startsFrom ? LabelStart{LabelStart::Kind::kSeeds, files.*maker.startsFrom} : LabelStart{};
}

/// The labels exist and are to stay: only their table rows and overlay are made.
void UseExistingLabels(ImageJob& job, const LabellingOptions& options, const LabelMaker& maker) {
    const ImageFiles& files = job.Files();
    job.LiftTimeLimit();
    job.Outcome().state = ImageState::kSkipped;
    job.Messages().Note("'" + files.input + "' is skipped: '" + files.labels + "' exists (--overwrite replaces it).");
    CompareWithRecord(job, options.recordCheck, StartOf(files, maker));
    const bool isPrepared = !options.preparation.Text().empty();
    if (options.overlay || (options.places.csv && isPrepared)) {
        Position position = job.Load();
        if (job.ReadLabels(files.labels, position.labels) == LabelsFound::kNoFile) return;
        RestrictMeasures(job, options.preparation, position);
        job.MakeRows(position);
        if (options.overlay) job.PaintOverlay(position, options.style);
    } else if (options.places.table || options.places.csv) {
        job.MeasureFile(files.labels);
    }
}

/// What a person can do about a stack, which no analysis takes.
wxString PageHint(const Position& position) { return position.image.SizeZ() > 1 ? "; --page N chooses one" : ""; }

void Analyse(ImageJob& job, const LabellingOptions& options, const LabelMaker& maker, Position& position) {
    StageWriter observer(options.places, job.Files(), position.image, job.Messages(), job.TimeLeft());
    try {
        maker.analyse(position, observer, job.RunParts());
        job.NoteStages(observer.StagesTold());
    } catch (const RunInterrupted&) {
        job.NoteStages(observer.StagesTold());
        throw;
    } catch (const TimeLimitReached&) {
        job.NoteStages(observer.StagesTold());
        throw;
    } catch (...) {
        job.NoteStages(observer.StagesTold());
        throw ImageFailure{{wxString("Cannot ") + maker.verb + " '" + job.Files().input + "'! (" +
                            ExceptionText(std::current_exception()) + PageHint(position) + ")"}};
    }
}

void MakeLabels(ImageJob& job, const LabellingOptions& options, const LabelMaker& maker) {
    const ImageFiles& files = job.Files();
    std::error_code unreachable;
    if (options.existing == ExistingLabels::kSkip && std::filesystem::exists(PathBytes(files.labels), unreachable)) {
        UseExistingLabels(job, options, maker);
        return;
    }
    Position position = job.Load();
    if (maker.prepare && !maker.prepare(job, position)) {
        job.Outcome().state = ImageState::kNoLabels;
        return;
    }
    if (job.Outcome().resolution.x <= 0.0f) {
        throw ImageFailure{{wxString("Cannot ") + maker.verb + " '" + files.input +
                            "'! (The file stores no pixel size; give it with --pixel-size NM)"}};
    }
    if (const std::string trouble = PixelHeightTrouble(job.Outcome().resolution); !trouble.empty()) {
        throw ImageFailure{{wxString("Cannot ") + maker.verb + " '" + files.input + "'! (" + trouble +
                            "; give the pixel size with --pixel-size NM)"}};
    }
    Preparation preparation(job, options.preparation, position);
    Position& analysed = preparation.Prepared() ? *preparation.Prepared() : position;
    const bool isWhole = analysed.image.VoxelCount() == position.image.VoxelCount();
    if (maker.warn) maker.warn(job, analysed, isWhole ? Extent::kWholeImage : Extent::kPart);
    Analyse(job, options, maker, analysed);
    if (preparation.Prepared()) preparation.PutBack(position);
    job.TimeLeft().Check();
    job.RestrictMeasures(std::move(preparation.Excluded()), preparation.Part());
    job.KeepLabels(position.labels, StartOf(files, maker));
    job.LiftTimeLimit();
    job.Outcome().state = ImageState::kDone;
    job.MakeRows(position);
    if (options.overlay) job.PaintOverlay(position, options.style);
}

/// For the record. Of a pipe nothing can be told later: the parameters themselves are recorded with each image.
std::optional<UsedFile> ParametersFileOf(const LabellingOptions& options) {
    const bool isFile = options.parametersFile && !options.parametersFile->digest.sha256.empty();
    return isFile ? options.parametersFile : std::nullopt;
}

}  // namespace

void AddLabellingOptions(CLI::App& command, LabellingOptions& options) {
    AddOverwrite(command, options.existing,
                 "Replace existing seg_NAME files and the table (default: such an image is skipped)");
    auto* const overlay = command.add_flag("--overlay", options.overlay, "Write export_NAME too");
    for (const char* const name : {"--raw", "--regions", "--rim", "--numbers", "--scale-bar", "--overlay-format"})
        command.get_option(name)->needs(overlay);
    AddStrict(command, options.recordCheck);
    AddParametersFile(command, options.parameters, options.parametersFile);
    AddParameters(command, options.parameters);
    AddPreparation(command, options.preparation);
}

int RunLabelling(const LabellingOptions& options, const LabelMaker& maker, const Streams& streams) {
    ImageRun run;
    run.input = options.input;
    run.places = options.places;
    run.written.push_back(&ImageFiles::labels);
    if (options.overlay) run.written.push_back(&ImageFiles::picture);
    run.tableRules = options.tableRules;
    run.objectTable = options.objectTable;
    // Leave to replace labels is leave to replace their table.
    const bool replaces = options.existing == ExistingLabels::kReplace;
    if (replaces && run.tableRules.existing == ExistingTable::kRefuse)
        run.tableRules.existing = ExistingTable::kReplace;
    run.pixelSize = options.pixelSize;
    run.jobs = options.jobs;
    run.dryRun.word = "analyse";
    run.dryRun.needs = DryRunNeeds::kAnalysis;
    run.dryRun.cost = maker.cost;
    run.dryRun.needed = maker.startsFrom;
    if (!replaces) run.dryRun.kept = &ImageFiles::labels;
    run.recorder = std::make_shared<RunRecorder>(RunRecord{maker.command, options.parameters, "no seeds",
                                                           options.preparation.Text(), ParametersFileOf(options),
                                                           options.preparation.maskFile});
    run.work = [&](ImageJob& job) { MakeLabels(job, options, maker); };
    return RunImages(run, streams);
}

}  // namespace Korvane

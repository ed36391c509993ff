#include "MeasureCommand.h"

#include "CsvOptions.h"
#include "ImageRun.h"

namespace Korvane {

namespace {

/// The table of objects looks at the image too.
LabelsFound MeasureWithImage(ImageJob& job, const PreparationOptions& preparation) {
    Position position = job.Load();
    const LabelsFound found = job.ReadLabels(job.Files().seeds, position.labels);
    if (found != LabelsFound::kLoaded) return found;
    RestrictMeasures(job, preparation, position);
    job.MakeRows(position);
    return found;
}

void MeasureImage(ImageJob& job, const MeasureOptions& options) {
    const LabelsFound found =
        options.places.csv ? MeasureWithImage(job, options.preparation) : job.MeasureFile(job.Files().seeds);
    job.Outcome().state = found == LabelsFound::kLoaded ? ImageState::kDone : ImageState::kNoLabels;
    if (found != LabelsFound::kLoaded) job.TellNoLabels();
}

}  // namespace

void AddMeasureOptions(CLI::App& command, MeasureOptions& options) {
    AddInput(command, options.input);
    AddPlace(command, "-o,--output", options.places.output, "DIR",
             "Folder of the seg_NAME files when --labels is not given");
    AddLabels(command, options.places);
    AddTableOptions(command, options.places, options.tableRules,
                    "Write the measurement table there (default: standard output, if there is no --csv)");
    AddCsvOptions(command, options.places, options.objectTable);
    AddSwitch(
        command, "--overwrite", [&options] { options.tableRules.existing = ExistingTable::kReplace; },
        "The same as --overwrite-table");
    AddPreparation(command, options.preparation);
    AddPixelSizeChoice(command, options.pixelSize);
    AddJobs(command, options.jobs);
    AddDryRun(command, options.jobs);
}

int RunMeasure(const MeasureOptions& options, const Streams& streams) {
    ImageRun run;
    run.input = options.input;
    run.places = options.places;
    run.withoutTable = options.places.csv ? WithoutTable::kNoTable : WithoutTable::kStandardOutput;
    run.tableRules = options.tableRules;
    run.objectTable = options.objectTable;
    run.pixelSize = options.pixelSize;
    run.jobs = options.jobs;
    run.dryRun.word = "measure";
    run.dryRun.needed = &ImageFiles::seeds;
    run.work = [&options](ImageJob& job) { MeasureImage(job, options); };
    return RunImages(run, streams);
}

}  // namespace Korvane

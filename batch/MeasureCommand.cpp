#include "MeasureCommand.h"

#include "CsvOptions.h"
#include "ImageRun.h"

namespace Korvane {

namespace {

void MeasureImage(ImageJob& job) {
    const LabelsFound found = job.MeasureFile(job.Files().seeds);
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
    AddPixelSizeChoice(command, options.pixelSize);
    AddJobs(command, options.jobs);
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
    run.work = MeasureImage;
    return RunImages(run, streams);
}

}  // namespace Korvane

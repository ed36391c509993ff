#include "SegmentCommand.h"

#include "CsvOptions.h"
#include "SeededSegmentation.h"

namespace Korvane {

namespace {

bool ReadSeeds(ImageJob& job, Position& position) {
    const wxString& seeds = job.Files().seeds;
    job.HoldSource(seeds);
    if (job.ReadLabels(seeds, position.labels) == LabelsFound::kLoaded && job.Outcome().objectCount > 0) return true;
    job.Messages().Warning(wxString::Format("The position number %d was not segmented due to missing seeds!",
                                            static_cast<int>(job.Number())) +
                           " ('" + seeds + "')");
    return false;
}

}  // namespace

void AddSegmentOptions(CLI::App& command, SegmentOptions& options) {
    AddInput(command, options.input);
    AddOutput(command, options.places);
    AddStyle(command, options.style, options.places);
    AddLabels(command, options.places);
    AddTableOptions(command, options.places, options.tableRules, "Write the measurement table there");
    AddCsvOptions(command, options.places, options.objectTable);
    AddLabellingOptions(command, options);
    AddPixelSizeChoice(command, options.pixelSize);
    AddJobs(command, options.jobs);
    AddDryRun(command, options.jobs);
}

int RunSegment(const SegmentOptions& options, const Streams& streams) {
    LabelMaker maker;
    maker.command = "segment";
    maker.verb = "segment the exosomes in";
    maker.cost = {150.0, 32.0};
    maker.startsFrom = &ImageFiles::seeds;
    maker.prepare = ReadSeeds;
    maker.analyse = [&options](Position& position, DetectionObserver&, const qvox::PartRunner& run) {
        SegmentFromSeeds(position.image, position.labels, position.image.Resolution().x,
                         options.parameters.minObjectDiameterUm, run);
    };
    return RunLabelling(options, maker, streams);
}

}  // namespace Korvane

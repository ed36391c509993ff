#include "DetectCommand.h"

#include "CsvOptions.h"
#include "DetectionDriver.h"
#include "ImageWarnings.h"

namespace Korvane {

void AddDetectOptions(CLI::App& command, DetectOptions& options) {
    AddInput(command, options.input);
    AddOutput(command, options.places);
    AddStyle(command, options.style, options.places);
    AddTableOptions(command, options.places, options.tableRules, "Write the measurement table there");
    AddCsvOptions(command, options.places, options.objectTable);
    AddLabellingOptions(command, options);
    AddPlace(command, "--stages", options.places.stages, "DIR", "Also write what each stage of detection made");
    AddPixelSizeChoice(command, options.pixelSize);
    AddJobs(command, options.jobs);
    AddDryRun(command, options.jobs);
}

int RunDetect(const DetectOptions& options, const Streams& streams) {
    LabelMaker maker;
    maker.command = "detect";
    maker.verb = "detect the exosomes in";
    maker.cost = {450.0, 40.0};
    maker.warn = [&options](ImageJob& job, const Position& analysed, Extent extent) {
        const qvox::VoxelImage<float>& image = analysed.image;
        // A stack is refused whatever its sizes.
        if (image.SizeZ() > 1) return;
        job.Warn(AreaLimitWarning(image.VoxelCount(), extent, image.Resolution().x, options.parameters));
    };
    maker.analyse = [&options](Position& position, DetectionObserver& observer, const qvox::PartRunner& run) {
        DetectExosomes(position.image, position.labels, options.parameters, position.image.Resolution().x, observer,
                       run);
    };
    return RunLabelling(options, maker, streams);
}

}  // namespace Korvane

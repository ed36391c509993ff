#include "OverlayCommand.h"

#include "ImageRun.h"

namespace Korvane {

namespace {

void DrawExisting(ImageJob& job, const OverlayOptions& options) {
    const OverlayStyle& style = options.style;
    Position position = job.Load();
    job.Outcome().state = ImageState::kDone;
    if (style.look != OverlayLook::kRaw && job.ReadLabels(job.Files().seeds, position.labels) == LabelsFound::kNoFile) {
        job.Outcome().state = ImageState::kNoLabels;
        job.TellNoLabels();
        return;
    }
    if (style.look == OverlayLook::kRims) RestrictMeasures(job, options.preparation, position);
    job.PaintOverlay(position, style);
}

}  // namespace

void AddOverlayOptions(CLI::App& command, OverlayOptions& options) {
    AddInput(command, options.input);
    AddOutput(command, options.places);
    AddStyle(command, options.style, options.places);
    AddLabels(command, options.places);
    AddPreparation(command, options.preparation);
    AddPixelSizeChoice(command, options.pixelSize);
    AddJobs(command, options.jobs);
    AddDryRun(command, options.jobs);
}

int RunOverlay(const OverlayOptions& options, const Streams& streams) {
    ImageRun run;
    run.input = options.input;
    run.places = options.places;
    run.written = {&ImageFiles::picture};
    run.pixelSize = options.pixelSize;
    run.jobs = options.jobs;
    run.dryRun.word = "draw";
    if (options.style.look != OverlayLook::kRaw) run.dryRun.needed = &ImageFiles::seeds;
    run.work = [&options](ImageJob& job) { DrawExisting(job, options); };
    return RunImages(run, streams);
}

}  // namespace Korvane

#include "CalibrateCommand.h"

#include <exception>
#include <filesystem>
#include <system_error>

#include "Calibration.h"
#include "ExceptionText.h"
#include "ImageRun.h"
#include "PathText.h"

namespace Korvane {

namespace {

void CalibrateImage(ImageJob& job, const CalibrateOptions& options) {
    const ImageFiles& files = job.Files();
    std::error_code unreachable;
    if (options.existing == ExistingLabels::kSkip && std::filesystem::exists(PathBytes(files.copy), unreachable)) {
        job.Outcome().state = ImageState::kSkipped;
        job.Messages().Note("'" + files.input + "' is skipped: '" + files.copy + "' exists (--overwrite replaces it).");
        return;
    }
    const qvox::ImageFileInfo info = job.Inspect();
    const float perUm = static_cast<float>(1000.0 / options.pixelSizeNm.value());
    const bool hasOne = info.resolution.x > 0.0f || info.resolution.y > 0.0f;
    if (hasOne && options.existingPixelSize == ExistingPixelSize::kRefuse && !HasPixelSize(info.resolution, perUm)) {
        throw ImageFailure{"Cannot calibrate '" + files.input + "'! (The file stores " +
                           PixelSizeText(info.resolution) + " (" + PathText(info.resolutionNote) +
                           "); --force replaces it)"};
    }
    try {
        WriteCalibratedCopy(PathBytes(files.input), PathBytes(files.copy), info.type, perUm);
    } catch (...) {
        throw ImageFailure{"Cannot calibrate '" + files.input + "'! (" +
                           ExceptionText(std::current_exception(), files.input) + ")"};
    }
    job.Outcome().resolution = {perUm, perUm, info.resolution.z};
    job.Outcome().state = ImageState::kDone;
}

}  // namespace

void AddCalibrateOptions(CLI::App& command, CalibrateOptions& options) {
    AddInput(command, options.input);
    AddPixelSize(command, options.pixelSizeNm, Presence::kRequired, "The pixel size to store, in nanometres");
    AddPlace(command, "-o,--output", options.places.output, "DIR",
             "Folder for the copies, under the images' own names (default: calibrated_NAME beside each image)");
    AddOverwrite(command, options.existing, "Replace existing copies (default: such an image is skipped)");
    AddSwitch(
        command, "--force", [&options] { options.existingPixelSize = ExistingPixelSize::kReplace; },
        "Also copy images that have another pixel size (default: they are refused)");
    AddJobs(command, options.jobs);
}

int RunCalibrate(const CalibrateOptions& options, const Streams& streams) {
    ImageRun run;
    run.input = options.input;
    run.places = options.places;
    run.written = {&ImageFiles::copy};
    run.leftOut = kCalibratedPrefix;
    run.jobs = options.jobs;
    run.work = [&options](ImageJob& job) { CalibrateImage(job, options); };
    run.doneText = [](const ImageOutcome& outcome) { return PixelSizeText(outcome.resolution); };
    return RunImages(run, streams);
}

}  // namespace Korvane

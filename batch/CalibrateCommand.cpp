#include "CalibrateCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <system_error>
#include <vector>

#include "Annotations.h"
#include "Calibration.h"
#include "ExceptionText.h"
#include "ImageRun.h"
#include "ImageWarnings.h"
#include "ParseNumber.h"
#include "PathText.h"

namespace Korvane {

namespace {

ImageFailure Failure(const ImageFiles& files, const wxString& cause, const wxString& detail = {}) {
    return {{"Cannot calibrate '" + files.input + "'! (" + cause + ")", detail}};
}

void RequireReplaceable(const ImageJob& job, const CalibrateOptions& options, const qvox::ImageFileInfo& info,
                        const CopyChanges& changes) {
    const bool hasOne = info.resolution.x > 0.0f || info.resolution.y > 0.0f;
    if (!hasOne || !changes.pixelsPerUm || options.existingPixelSize == ExistingPixelSize::kReplace) return;
    if (HasPixelSize(info.resolution, *changes.pixelsPerUm)) return;
    throw Failure(job.Files(), "The file stores " + PixelSizeText(info.resolution) + " (" +
                                   PathText(info.resolutionNote) + "); --force replaces it");
}

template <typename T>
qvox::VoxelImage<float> LoadAsFloat(const std::string& path, const qvox::ReadOptions& reading) {
    qvox::VoxelImage<T> image;
    qvox::LoadImageFile(path, image, reading);
    qvox::VoxelImage<float> grey;
    grey.Resize(image.SizeX(), image.SizeY(), image.SizeZ());
    std::transform(image.begin(), image.end(), grey.begin(), [](T value) { return static_cast<float>(value); });
    return grey;
}

/// The image, or what becomes of its colours.
qvox::VoxelImage<float> LoadGrey(const std::string& path, const qvox::ReadOptions& reading) {
    const qvox::VoxelType type = qvox::InspectImageFile(path, reading).type;
    switch (IsInputType(type) ? type : qvox::GreyTypeOf(path, reading)) {
        case qvox::VoxelType::kUint8:
            return LoadAsFloat<std::uint8_t>(path, reading);
        case qvox::VoxelType::kUint16:
            return LoadAsFloat<std::uint16_t>(path, reading);
        default:
            return LoadAsFloat<float>(path, reading);
    }
}

/// The size of a pixel of the image whose own scale bar is this long.
double PixelSizeByBar(const ImageJob& job, const qvox::ReadOptions& reading, double barLengthNm) {
    const Annotations found = DoFileTask(FileTask::kLoadInput, job.Files().input, [&] {
        const qvox::VoxelImage<float> grey = LoadGrey(PathBytes(job.Files().input), reading);
        job.TimeLeft().Check();
        return FindAnnotations(grey);
    });
    job.TimeLeft().Check();
    const std::vector<std::int64_t> lengths = BarLengthsPx(found.pieces);
    if (lengths.empty()) throw Failure(job.Files(), "No scale bar is found in it; give --pixel-size");
    if (lengths.size() > 1) {
        throw Failure(job.Files(),
                      wxString::Format("It has scale bars of %lld and of %lld pixels; give "
                                       "--pixel-size",
                                       static_cast<long long>(lengths[0]), static_cast<long long>(lengths[1])));
    }
    return barLengthNm / static_cast<double>(lengths.front());
}

/// The type that a colour image has as grey; a kind that cannot be grey fails.
qvox::VoxelType TypeAsGrey(const ImageFiles& files, const std::string& path, const qvox::ImageFileInfo& info,
                           const qvox::ReadOptions& reading) {
    const qvox::VoxelType type = qvox::GreyTypeOf(path, reading);
    if (type != qvox::VoxelType::kUnsupported) return type;
    throw Failure(files, "Unsupported pixel type",
                  "It holds " + PathText(info.typeText) +
                      "; wanted is 8-bit, 16-bit or 32-bit float grey, RGB of 8 or 16 bits, or an 8-bit palette.");
}

void CalibrateImage(ImageJob& job, const CalibrateOptions& options) {
    const ImageFiles& files = job.Files();
    std::error_code unreachable;
    if (options.existing == ExistingLabels::kSkip && std::filesystem::exists(PathBytes(files.copy), unreachable)) {
        job.Outcome().state = ImageState::kSkipped;
        job.Messages().Note("'" + files.input + "' is skipped: '" + files.copy + "' exists (--overwrite replaces it).");
        return;
    }
    const bool toGrey = options.colour != qvox::ColourRule::kRefuse;
    const qvox::ImageFileInfo info = toGrey ? job.InspectAnyType() : job.Inspect();
    CopyChanges changes;
    changes.reading = options.input.reading;
    changes.reading.colour = options.colour;
    changes.beforeWriting = [&job] { job.TimeLeft().Check(); };
    if (options.barLengthNm) {
        const double nm = PixelSizeByBar(job, changes.reading, *options.barLengthNm);
        changes.pixelsPerUm = static_cast<float>(1000.0 / nm);
    }
    if (options.pixelSizeNm) changes.pixelsPerUm = static_cast<float>(1000.0 / *options.pixelSizeNm);
    RequireReplaceable(job, options, info, changes);
    const bool isGrey = IsInputType(info.type);
    const std::string from = PathBytes(files.input);
    const qvox::VoxelType type = isGrey ? info.type : TypeAsGrey(files, from, info, changes.reading);
    try {
        WriteCopy(from, PathBytes(files.copy), type, changes);
    } catch (const TimeLimitReached&) {
        throw;
    } catch (...) {
        const wxString hint = options.colour == qvox::ColourRule::kEqualChannels && !isGrey
                                  ? "; --luminance takes the luminance of colours"
                                  : "";
        throw Failure(files, ExceptionText(std::current_exception(), files.input) + hint);
    }
    job.Outcome().resolution = info.resolution;
    if (changes.pixelsPerUm) job.Outcome().resolution = {*changes.pixelsPerUm, *changes.pixelsPerUm, info.resolution.z};
    job.Warn(PixelSizeWarning(job.Outcome().resolution));
    job.Outcome().state = ImageState::kDone;
}

}  // namespace

void AddCalibrateOptions(CLI::App& command, CalibrateOptions& options) {
    AddInput(command, options.input);
    AddPixelSize(command, options.pixelSizeNm,
                 "The pixel size to store, in nanometres (needed unless --bar-length-nm or --grey is given: --grey "
                 "keeps the file's own)");
    const auto takeLength = [&options](const std::string& text) {
        options.barLengthNm = ParseNumber<double>(text);
        if (!options.barLengthNm || !(*options.barLengthNm > 0.0) || !std::isfinite(*options.barLengthNm)) {
            throw CLI::ValidationError("--bar-length-nm", "needs nanometres greater than 0, not '" + text + "'");
        }
    };
    command
        .add_option_function<std::string>("--bar-length-nm", takeLength,
                                          "Store the pixel size that makes each image's own scale bar this long")
        ->type_name("NM")
        ->excludes("--pixel-size");
    AddPlace(command, "-o,--output", options.places.output, "DIR",
             "Folder for the copies, under the images' own names (default: calibrated_NAME beside each image)");
    AddOverwrite(command, options.existing, "Replace existing copies (default: such an image is skipped)");
    AddSwitch(
        command, "--force", [&options] { options.existingPixelSize = ExistingPixelSize::kReplace; },
        "Also copy images that have another pixel size (default: they are refused)");
    auto* grey = command.add_flag_callback(
        "--grey",
        [&options] {
            if (options.colour == qvox::ColourRule::kRefuse) options.colour = qvox::ColourRule::kEqualChannels;
        },
        "Also copy grey images that are stored as RGB or with a palette, as grey");
    command
        .add_flag_callback(
            "--luminance", [&options] { options.colour = qvox::ColourRule::kLuminance; },
            "With --grey: take the luminance where channels differ (default: such an image is refused)")
        ->needs(grey);
    command.parse_complete_callback([&options] {
        const bool hasTask = options.pixelSizeNm || options.barLengthNm || options.colour != qvox::ColourRule::kRefuse;
        if (!hasTask) throw CLI::RequiredError("--pixel-size or --bar-length-nm");
    });
    AddJobs(command, options.jobs);
    AddDryRun(command, options.jobs);
}

int RunCalibrate(const CalibrateOptions& options, const Streams& streams) {
    ImageRun run;
    run.input = options.input;
    run.places = options.places;
    run.written = {&ImageFiles::copy};
    run.jobs = options.jobs;
    run.dryRun.word = "copy";
    if (options.existing == ExistingLabels::kSkip) run.dryRun.kept = &ImageFiles::copy;
    run.dryRun.takesAnyType = options.colour != qvox::ColourRule::kRefuse;
    run.work = [&options](ImageJob& job) { CalibrateImage(job, options); };
    run.doneText = [](const ImageOutcome& outcome) { return PixelSizeText(outcome.resolution); };
    return RunImages(run, streams);
}

}  // namespace Korvane

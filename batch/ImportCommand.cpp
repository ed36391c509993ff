#include "ImportCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <memory>
#include <system_error>

#include "ExistingResults.h"
#include "ForeignLabels.h"
#include "ImageRun.h"
#include "PathText.h"

namespace Korvane {

namespace {

const std::string kStem = "{stem}";

/// The pattern as one of file names: any stem, every other character for itself.
std::string GlobOf(const std::string& pattern) {
    std::string glob;
    for (std::size_t at = 0; at < pattern.size();) {
        if (pattern.compare(at, kStem.size(), kStem) == 0) {
            glob += '*';
            at += kStem.size();
            continue;
        }
        const char c = pattern[at++];
        const bool isSpecial = c == '*' || c == '?' || c == '[';
        glob += isSpecial ? std::string("[") + c + "]" : std::string(1, c);
    }
    return glob;
}

std::string ForeignName(const std::string& pattern, const std::string& image) {
    const std::string stem = std::filesystem::path(image).stem().string();
    std::string name = pattern;
    name.replace(name.find(kStem), kStem.size(), stem);
    return name;
}

wxString ForeignPath(const ImportOptions& options, const ImageFiles& files) {
    const std::string image = PathBytes(files.input);
    const std::filesystem::path folder = std::filesystem::path(image).parent_path();
    const ChosenFolder chosen = FolderFor(options.places.labels, files.subfolder);
    const std::filesystem::path place = chosen ? std::filesystem::path(PathBytes(*chosen)) : folder;
    return PathText((place / ForeignName(options.pattern, image)).string());
}

void ImportImage(ImageJob& job, const ImportOptions& options) {
    const ImageFiles& files = job.Files();
    const wxString foreign = ForeignPath(options, files);
    const LabelStart start{LabelStart::Kind::kImported, foreign};
    std::error_code unreachable;
    if (options.existing == ExistingLabels::kSkip && std::filesystem::exists(PathBytes(files.labels), unreachable)) {
        job.LiftTimeLimit();
        job.Outcome().state = ImageState::kSkipped;
        job.Messages().Note("'" + files.input + "' is skipped: '" + files.labels +
                            "' exists (--overwrite replaces it).");
        CompareWithRecord(job, options.recordCheck, start);
        return;
    }
    if (std::filesystem::equivalent(PathBytes(foreign), PathBytes(files.input), unreachable)) {
        throw ImageFailure{{"Cannot import '" + foreign + "'! (It is the image itself)"}};
    }
    if (!std::filesystem::exists(PathBytes(foreign), unreachable)) {
        job.Outcome().state = ImageState::kNoLabels;
        job.Warn("is left out: there is no '" + foreign + "'.");
        return;
    }
    Position position = job.Load();
    job.HoldSource(foreign);
    DoFileTask(FileTask::kImportLabels, foreign, [&] {
        LoadForeignLabels(foreign, position.labels);
        return 0;
    });
    job.TimeLeft().Check();
    job.KeepLabels(position.labels, start);
    job.Outcome().state = ImageState::kDone;
}

/// True where a folder of images holds their label files too, which are no images.
bool HasLabelsAmongImages(const ImportOptions& options) {
    std::error_code unreachable;
    return std::any_of(options.input.images.begin(), options.input.images.end(), [&](const std::string& argument) {
        if (!std::filesystem::is_directory(argument, unreachable)) return false;
        return !options.places.labels || std::filesystem::equivalent(argument, *options.places.labels, unreachable);
    });
}

void RequirePattern(const std::string& pattern) {
    const std::size_t at = pattern.find(kStem);
    if (at == std::string::npos || pattern.find(kStem, at + 1) != std::string::npos) {
        throw UsageError("--pattern needs {stem} once, for instance '{stem}_labels.tif', not '" + pattern + "'.");
    }
    if (pattern.find('/') != std::string::npos) {
        throw UsageError("--pattern is a file name; --labels names its folder.");
    }
}

}  // namespace

void AddImportOptions(CLI::App& command, ImportOptions& options) {
    AddInput(command, options.input);
    command
        .add_option("--pattern", options.pattern, "Name of an image's label file, with {stem} for NAME without .tif")
        ->required()
        ->type_name("NAME");
    AddOutput(command, options.places);
    AddPlace(command, "--labels", options.places.labels, "DIR",
             "Folder of the label files (default: beside each image)");
    AddOverwrite(command, options.existing, "Replace existing seg_NAME files (default: such an image is skipped)");
    AddStrict(command, options.recordCheck);
    AddPixelSizeChoice(command, options.pixelSize);
    AddJobs(command, options.jobs);
    AddDryRun(command, options.jobs);
}

int RunImport(const ImportOptions& options, const Streams& streams) {
    RequirePattern(options.pattern);
    ImageRun run;
    run.input = options.input;
    if (HasLabelsAmongImages(options)) run.input.choice.exclude.push_back(GlobOf(options.pattern));
    run.places = options.places;
    run.written = {&ImageFiles::labels};
    run.pixelSize = options.pixelSize;
    run.jobs = options.jobs;
    run.dryRun.word = "import";
    run.dryRun.cost = {30.0, 20.0};
    if (options.existing == ExistingLabels::kSkip) run.dryRun.kept = &ImageFiles::labels;
    run.recorder = std::make_shared<RunRecorder>(RunRecord{"import", std::nullopt, "no label file", {}});
    run.work = [&options](ImageJob& job) { ImportImage(job, options); };
    return RunImages(run, streams);
}

}  // namespace Korvane

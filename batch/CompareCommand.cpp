#include "CompareCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <map>
#include <mutex>
#include <system_error>
#include <utility>

#include "ComparisonOverlay.h"
#include "ComparisonReport.h"
#include "CompleteFile.h"
#include "FolderLock.h"
#include "Gnuplot.h"
#include "ImageRun.h"
#include "ParseNumber.h"
#include "PathText.h"
#include "RecordLog.h"
#include "RunFolders.h"
#include "TruthLabels.h"

namespace Korvane {

namespace {

/// What the images' jobs found, by their numbers.
class Findings {
public:
    void Add(std::size_t number, ComparedImage image) {
        const std::lock_guard<std::mutex> lock(mutex_);
        images_.emplace(number, std::move(image));
    }
    std::vector<ComparedImage> Take() {
        std::vector<ComparedImage> images;
        for (auto& [number, image] : images_) images.push_back(std::move(image));
        return images;
    }

private:
    std::mutex mutex_;
    std::map<std::size_t, ComparedImage> images_;
};

/// The parameters that made the labels, as far as their record tells; else those of the command line.
AnalysisParameters MakingParameters(const ImageJob& job, const CompareOptions& options) {
    const wxString& labels = job.Files().seeds;
    const RecordIndex record(PathBytes(FolderOf(labels)));
    const std::optional<RecordEntry> entry = record.Making(FileNameOf(labels).utf8_string());
    return entry && entry->command == "detect" && entry->parameters ? *entry->parameters : options.parameters;
}

bool HasMistakes(const LabelComparison& comparison) {
    return !comparison.matching.missed.empty() || !comparison.matching.extra.empty();
}

/// Runs detection again and asks its stages, if its labels are those that are compared.
void FindStages(ImageJob& job, const CompareOptions& options, const Position& position, const qvox::LabelImage& truth,
                ComparedImage& result) {
    if (!HasMistakes(result.comparison)) {
        result.stages = StageAttribution();
        return;
    }
    if (!options.stages) {
        result.whyNoStages = "not asked for";
        return;
    }
    if (!(position.image.Resolution().x > 0.0f)) {
        result.whyNoStages = "no pixel size";
        job.Warn(
            "has no pixel size: it is compared without diameters and the stages at fault. --pixel-size gives one.");
        return;
    }
    const AnalysisParameters parameters = MakingParameters(job, options);
    StageMaps maps;
    try {
        maps = DetectWithStages(position.image, parameters, position.image.Resolution().x, job.RunParts());
    } catch (const qvox::ToolkitError& error) {
        result.whyNoStages = error.what();
        job.Warn("is compared without the stages at fault: " + PathText(error.what()));
        return;
    }
    if (!std::equal(maps.labels.begin(), maps.labels.end(), position.labels.begin(), position.labels.end())) {
        result.whyNoStages = "detection with these parameters makes other labels";
        job.Warn(
            "is compared without the stages at fault: its labels are not those of detection with the recorded "
            "or given parameters.");
        return;
    }
    result.stages = AttributeToStages(result.comparison, truth, position.labels, maps, parameters.roundnessThreshold);
}

void CompareImage(ImageJob& job, const CompareOptions& options, Findings& findings) {
    Position position = job.Load();
    qvox::LabelImage truth = position.labels;
    if (!ReadTruth(job, options.truth, truth)) {
        job.Outcome().state = ImageState::kNoLabels;
        return;
    }
    job.TimeLeft().Check();
    if (job.ReadLabels(job.Files().seeds, position.labels) == LabelsFound::kNoFile) {
        job.Outcome().state = ImageState::kNoLabels;
        job.TellNoLabels();
        return;
    }
    if (IsTruthOf(job, options.truth, job.Files().seeds)) {
        job.Warn("is compared with itself: '" + job.Files().seeds +
                 "' is found and true labels in one. --labels names the folder of those found.");
    }
    ComparedImage result;
    result.path = job.Files().input.utf8_string();
    DoFileTask(FileTask::kMeasure, job.Name(), [&] {
        result.comparison = CompareLabels(truth, position.labels, options.threshold);
        job.TimeLeft().Check();
        FindStages(job, options, position, truth, result);
        return 0;
    });
    job.TimeLeft().Check();
    if (options.overlay) {
        DoFileTask(FileTask::kExportPicture, job.Name(), [&] {
            const ColourPicture picture = PaintComparison(position.image, truth, position.labels, result.comparison);
            job.TimeLeft().Check();
            qvox::SaveImageFile(PathBytes(job.Files().comparison), picture);
            return 0;
        });
    }
    job.Outcome().state = ImageState::kDone;
    findings.Add(job.Number(), std::move(result));
}

void RequireNew(const std::optional<std::string>& file, const CompareOptions& options) {
    if (!file) return;
    std::error_code failure;
    const bool isThere = std::filesystem::exists(*file, failure);
    if (isThere && options.existing == ExistingLabels::kSkip) {
        throw UsageError("'" + *file + "' exists; --overwrite replaces it.");
    }
    const std::filesystem::path folder = std::filesystem::absolute(*file, failure).parent_path();
    if (!std::filesystem::is_directory(folder, failure)) {
        throw UsageError("The folder of '" + *file + "' does not exist.");
    }
}

void RequireDistinctFiles(const CompareOptions& options) {
    std::vector<std::string> files;
    for (const std::optional<std::string>& file : {options.csv, options.objects, options.json}) {
        if (file) files.push_back(FullPath(*file));
    }
    std::sort(files.begin(), files.end());
    if (std::adjacent_find(files.begin(), files.end()) != files.end()) {
        throw UsageError("--csv, --objects and --json need files of their own.");
    }
}

void DrawFigure(const ComparisonReport& report, const std::string& folder, const Streams& streams) {
    const Figure figure = AgreementFigure(report);
    if (const std::optional<Gnuplot> gnuplot = Gnuplot::Find()) {
        gnuplot->Draw(figure, folder);
        return;
    }
    WriteFigureSources(figure, folder);
    WriteOut(streams.messages, std::string("warning: ") + kGnuplotIsMissing + ".\n");
}

/// The folders of what is written for all images together.
std::vector<std::string> ResultFolders(const CompareOptions& options) {
    std::vector<std::string> folders;
    for (const std::optional<std::string>& file : {options.csv, options.objects, options.json}) {
        if (file) folders.push_back(FolderOfFile(*file));
    }
    if (options.figure) folders.push_back(*options.figure);
    return folders;
}

/// Where another program has made one of the files meanwhile, none is written: those of two comparisons side by side
/// could be taken for those of one. False when something could not be written.
bool WriteFiles(const ComparisonReport& report, const CompareOptions& options, const Streams& streams) {
    bool isWritten = true;
    const auto attempt = [&](const auto& write) {
        try {
            write();
        } catch (const qvox::ToolkitError& error) {
            WriteOut(streams.messages, std::string("error: ") + error.what() + "\n");
            isWritten = false;
        }
    };
    const FolderLock lock(ResultFolders(options));
    if (options.existing == ExistingLabels::kSkip) {
        for (const std::optional<std::string>& file : {options.csv, options.objects, options.json}) {
            if (file) attempt([&] { RequireStillFree(*file); });
        }
        if (!isWritten) return false;
    }
    if (options.csv) attempt([&] { WriteCompleteFile(*options.csv, ComparisonCsv(report)); });
    if (options.objects) attempt([&] { WriteCompleteFile(*options.objects, ComparedObjectsCsv(report)); });
    if (options.json) attempt([&] { WriteCompleteFile(*options.json, ComparisonJson(report)); });
    if (options.figure) attempt([&] { DrawFigure(report, *options.figure, streams); });
    return isWritten;
}

void AddThreshold(CLI::App& command, double& threshold) {
    const auto take = [&threshold](const std::string& text) {
        const std::optional<double> value = ParseNumber<double>(text);
        if (!value || !(*value > 0.0) || *value > 1.0) {
            throw CLI::ValidationError("--threshold", "needs a number above 0, up to 1, not '" + text + "'");
        }
        threshold = *value;
    };
    command
        .add_option_function<std::string>("--threshold", take, "Least intersection over union of a match, default 0.5")
        ->type_name("NUMBER");
}

DryRunRules DryRunOf(const CompareOptions& options) {
    DryRunRules rules;
    rules.word = "compare";
    rules.needed = &ImageFiles::seeds;
    rules.lacks = [&options](const ImageFiles& files) { return MissingTruth(files, options.truth); };
    rules.needs = DryRunNeeds::kPlane;
    // Most of the time goes into the detection that finds the stages.
    if (options.stages) rules.cost = {450.0, 40.0};
    for (const std::optional<std::string>& file : {options.csv, options.objects, options.json, options.figure}) {
        if (file) rules.writes.push_back(PathText(FullPath(*file)));
    }
    return rules;
}

}  // namespace

void AddCompareOptions(CLI::App& command, CompareOptions& options) {
    AddInput(command, options.input);
    AddTruth(command, options.truth);
    AddLabels(command, options.places);
    AddOutput(command, options.places);
    AddThreshold(command, options.threshold);
    AddPlace(command, "--csv", options.csv, "FILE", "Also write the scores there, a row per image and one of all");
    AddPlace(command, "--objects", options.objects, "FILE", "Also write a row per object there");
    AddPlace(command, "--json", options.json, "FILE", "Also write all of it there as JSON");
    AddPlace(command, "--figure", options.figure, "DIR", "Also draw the agreement of the diameters there");
    command.add_flag("--overlay", options.overlay, "Write compare_NAME: what is matched, missed and false");
    AddSwitch(
        command, "--no-stages", [&options] { options.stages = false; },
        "Do not run detection again to find the stages at fault");
    AddOverwrite(command, options.existing, "Replace existing files of --csv, --objects and --json");
    AddParametersFile(command, options.parameters, options.parametersFile);
    AddParameters(command, options.parameters);
    AddPixelSizeChoice(command, options.pixelSize);
    AddJobs(command, options.jobs);
    AddDryRun(command, options.jobs);
}

int RunCompare(const CompareOptions& options, const Streams& streams) {
    for (const auto& file : {options.csv, options.objects, options.json}) RequireNew(file, options);
    RequireDistinctFiles(options);
    ImageRun run;
    run.input = options.input;
    CheckTruth(options.truth, run.input);
    if (!options.jobs.dryRun && options.figure) MakeFolders({*options.figure});
    run.places = options.places;
    if (options.overlay) run.written.push_back(&ImageFiles::comparison);
    run.pixelSize = options.pixelSize;
    run.jobs = options.jobs;
    run.dryRun = DryRunOf(options);
    Findings findings;
    run.work = [&](ImageJob& job) { CompareImage(job, options, findings); };
    const int status = RunImages(run, streams);
    if (options.jobs.dryRun) return status;
    const bool endsEarly = status == kExitSomeFailed && options.jobs.afterFailure == AfterFailure::kEnd;
    if (status == kExitInterrupted || endsEarly) return status;
    ComparisonReport report{findings.Take(), options.threshold};
    if (report.images.empty()) return status;
    // The scores of the others could be taken for those of all.
    if (status != kExitDone) {
        WriteOut(streams.messages, "warning: Images failed: the scores are those of the other " +
                                       std::to_string(report.images.size()) + ".\n");
    }
    const bool isTold = WriteOut(streams.output, ComparisonText(report));
    return WriteFiles(report, options, streams) && isTold ? status : kExitSomeFailed;
}

}  // namespace Korvane

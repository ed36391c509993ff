#include "CompareCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>
#include <mutex>
#include <utility>

#include "ComparisonOverlay.h"
#include "ComparisonReport.h"
#include "ImageRun.h"
#include "LabelRecords.h"
#include "ParseNumber.h"
#include "PathText.h"
#include "Progress.h"
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
AnalysisParameters MakingParameters(ImageJob& job, const CompareOptions& options, LabelRecords& records) {
    const std::optional<RecordEntry> entry = records.Making(job, job.Files().seeds);
    return entry && entry->command == "detect" && entry->parameters ? *entry->parameters : options.parameters;
}

bool HasMistakes(const LabelComparison& comparison) {
    return !comparison.matching.missed.empty() || !comparison.matching.extra.empty();
}

/// Runs detection again and asks its stages, if its labels are those that are compared.
void FindStages(ImageJob& job, const CompareOptions& options, const Position& position, const qvox::LabelImage& truth,
                LabelRecords& records, ComparedImage& result) {
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
    const AnalysisParameters parameters = MakingParameters(job, options, records);
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

void CompareImage(ImageJob& job, const CompareOptions& options, LabelRecords& records, Findings& findings) {
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
        FindStages(job, options, position, truth, records, result);
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

DryRunRules DryRunOf(const CompareOptions& options, const ComparisonFiles& files) {
    DryRunRules rules;
    rules.word = "compare";
    rules.needed = &ImageFiles::seeds;
    rules.lacks = [&options](const ImageFiles& image) { return MissingTruth(image, options.truth); };
    rules.needs = DryRunNeeds::kPlane;
    // Most of the time goes into the detection that finds the stages.
    if (options.stages) rules.cost = {450.0, 40.0};
    rules.writes = files.Paths();
    return rules;
}

/// Prints the scores. The standard output is for a file alone; a person reads them beside it. False when that failed.
bool Tell(const ComparisonReport& report, const CompareOptions& options, const ComparisonFiles& files,
          const Streams& streams) {
    if (!files.TakesOutput()) return WriteOut(streams.output, ComparisonText(report));
    if (options.input.verbosity != Verbosity::kQuiet) WriteOut(streams.messages, ComparisonText(report));
    return true;
}

}  // namespace

void AddCompareOptions(CLI::App& command, CompareOptions& options) {
    AddInput(command, options.input);
    AddTruth(command, options.truth);
    AddLabels(command, options.places);
    AddOutput(command, options.places);
    AddThreshold(command, options.threshold);
    AddPlace(command, "--csv", options.results.csv, "FILE",
             "Also write the scores there, a row per image and one of all; - is the standard output");
    AddPlace(command, "--objects", options.results.objects, "FILE",
             "Also write a row per object there; - is the standard output");
    AddPlace(command, "--json", options.results.json, "FILE",
             "Also write all of it there as JSON; - is the standard output");
    AddPlace(command, "--figure", options.results.figure, "DIR", "Also draw the agreement of the diameters there");
    command.add_flag("--overlay", options.overlay, "Write compare_NAME: what is matched, missed and false");
    AddSwitch(
        command, "--no-stages", [&options] { options.stages = false; },
        "Do not run detection again to find the stages at fault");
    AddOverwrite(command, options.results.existing, "Replace existing files of --csv, --objects and --json");
    AddPartialTable(command, options.results.partial,
                    "Replace them and the figure also when images failed (default: they are kept)");
    AddParametersFile(command, options.parameters, options.parametersFile);
    AddParameters(command, options.parameters);
    AddPixelSizeChoice(command, options.pixelSize);
    AddJobs(command, options.jobs);
    AddDryRun(command, options.jobs);
}

int RunCompare(const CompareOptions& options, const Streams& streams) {
    const ComparisonFiles files(options.results);
    ImageRun run;
    run.input = options.input;
    CheckTruth(options.truth, run.input);
    if (!options.jobs.dryRun && options.results.figure) MakeFolders({*options.results.figure});
    run.places = options.places;
    run.places.singleFiles = files.SingleFiles();
    if (options.overlay) run.written.push_back(&ImageFiles::comparison);
    run.pixelSize = options.pixelSize;
    run.jobs = options.jobs;
    run.dryRun = DryRunOf(options, files);
    LabelRecords records;
    Findings findings;
    run.work = [&](ImageJob& job) { CompareImage(job, options, records, findings); };
    const RunEnd end = WorkOnImages(run, streams);
    const int status = end.status;
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
    const bool isTold = Tell(report, options, files, streams);
    Progress progress(streams.messages, options.input.verbosity, 0);
    return files.Write(report, end, streams, progress) && isTold ? status : kExitSomeFailed;
}

}  // namespace Korvane

#include "TuneCommand.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <chrono>
#include <filesystem>
#include <map>
#include <mutex>
#include <system_error>
#include <utility>

#include "CoreDivision.h"
#include "FolderLock.h"
#include "ImageRun.h"
#include "Interrupt.h"
#include "LabelExtents.h"
#include "OutputPlace.h"
#include "ParametersFile.h"
#include "ParseNumber.h"
#include "TruthLabels.h"
#include "Tuning.h"
#include "TuningText.h"
#include "WorkQueue.h"
#include "support/OpenCVThreads.h"

namespace Korvane {

namespace {

/// The share of a time budget that the search over all images gets; the rest is for those without an image each.
constexpr double kMainShare = 0.4;

/// Images with true labels, by their numbers in the run.
class Lessons {
public:
    void Add(std::size_t number, TrainingImage image) {
        const std::lock_guard<std::mutex> lock(mutex_);
        images_.emplace(number, std::move(image));
    }
    std::vector<TrainingImage> Take() {
        std::vector<TrainingImage> images;
        for (auto& [number, image] : images_) images.push_back(std::move(image));
        return images;
    }

private:
    std::mutex mutex_;
    std::map<std::size_t, TrainingImage> images_;
};

void ReadLesson(ImageJob& job, const TuneOptions& options, Lessons& lessons) {
    Position position = job.Load();
    if (!ReadTruth(job, options.truth, position.labels)) {
        job.Outcome().state = ImageState::kNoLabels;
        return;
    }
    job.TimeLeft().Check();
    if (!(position.image.Resolution().x > 0.0f)) {
        throw ImageFailure{{"Cannot learn from '" + job.Files().input +
                            "'! (The file stores no pixel size; give it with --pixel-size NM)"}};
    }
    job.Outcome().objectCount = LabelExtents(position.labels).size();
    job.Outcome().state = ImageState::kDone;
    lessons.Add(job.Number(), {job.Name().utf8_string(), std::move(position.image), std::move(position.labels)});
}

/// Tells how far the search is and when it ends.
class Steps {
public:
    Steps(const TuneOptions& options, const Streams& streams)
        : options_(options), streams_(streams), start_(std::chrono::steady_clock::now()) {}

    TuningStep Next(const TuningProgress& progress) {
        if (Interrupted()) return TuningStep::kCancel;
        if (progress.text != told_) {
            told_ = progress.text;
            if (options_.input.verbosity != Verbosity::kQuiet) {
                WriteOut(streams_.messages, "learning from " + told_ + " (" + std::to_string(progress.stepsDone + 1) +
                                                " of " + std::to_string(progress.steps) + ")\n");
            }
        }
        if (!options_.budgetSeconds) return TuningStep::kGoOn;
        const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
        const double done = static_cast<double>(progress.stepsDone);
        const double share =
            progress.steps < 2 ? 1.0 : kMainShare + (1.0 - kMainShare) * done / static_cast<double>(progress.steps - 1);
        return seconds < *options_.budgetSeconds * share ? TuningStep::kGoOn : TuningStep::kEndSearch;
    }

private:
    const TuneOptions& options_;
    const Streams& streams_;
    std::chrono::steady_clock::time_point start_;
    std::string told_;
};

std::string Join(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    return text;
}

std::string Comment(const TuningResult& result, const TuneOptions& options) {
    const std::string images = result.images.size() == 1 ? " image" : " images";
    const std::string text = "korvane-batch tune, " + std::to_string(result.images.size()) + images + " with " +
                             std::to_string(result.objects) + " objects. " + VerdictText(result);
    const bool isUnproven = result.verdict != TuningVerdict::kTaken && options.unproven == UnprovenValues::kLearnt;
    return isUnproven ? text + " The learnt ones were asked for." : text;
}

/// Prints what a person reads: the standard output is for the parameters alone where they go there.
bool Tell(const std::string& text, const OutputPlace& place, const TuneOptions& options, const Streams& streams) {
    if (place.Kind() != OutputKind::kStream) return WriteOut(streams.output, text);
    if (options.input.verbosity != Verbosity::kQuiet) WriteOut(streams.messages, text);
    return true;
}

/// The parameters file, under the lock of its folder.
void WriteParameters(const ParametersFile& file, const OutputPlace& place, const TuneOptions& options,
                     const Streams& streams) {
    std::optional<FolderLock> lock;
    if (place.IsFile()) {
        lock.emplace(std::vector<std::string>{FolderOfFile(place.Path())});
        if (options.existing == ExistingLabels::kSkip) RequireStillFree(place.Given());
    }
    place.Write(streams.output, ParametersText(file));
}

/// Prints the result and writes the parameters. False when that fails.
bool Report(const TuningResult& result, const OutputPlace& place, const TuneOptions& options, const Streams& streams) {
    for (const std::string& warning : TuningWarnings(result)) {
        WriteOut(streams.messages, "warning: " + warning + "\n");
    }
    const bool takesLearnt = options.unproven == UnprovenValues::kLearnt;
    std::string text = Join(ScoreLines(result, options.score)) + "\n" + Join(ParameterLines(result, options.score)) +
                       "\n" + VerdictText(result) + "\n" + SharingText(result) + "\n";
    text += options.budgetSeconds ? "Only --evaluations without --budget gives the same values again.\n"
                                  : "The same images and --evaluations give the same values again.\n";
    // A search takes minutes: what it found is told even where it cannot be kept.
    const bool isTold = Tell(text, place, options, streams);
    try {
        const ParametersFile file{takesLearnt ? result.fitted : result.chosen, Comment(result, options)};
        WriteParameters(file, place, options, streams);
    } catch (const qvox::ToolkitError& error) {
        WriteOut(streams.messages, std::string("error: ") + error.what() + "\n");
        return false;
    }
    if (place.Kind() == OutputKind::kStream) return isTold;
    return WriteOut(streams.output, "The parameters are in '" + options.output + "'.\n") && isTold;
}

/// Throws UsageError where the parameters cannot be written.
OutputPlace PlaceFor(const TuneOptions& options) {
    std::error_code failure;
    if (std::filesystem::is_directory(options.output, failure)) {
        throw UsageError("'" + options.output + "' is a folder; -o names the file of parameters.");
    }
    OutputPlace place("file", options.output);
    if (!place.IsFile()) return place;
    const std::filesystem::path folder = std::filesystem::absolute(options.output, failure).parent_path();
    if (!std::filesystem::is_directory(folder, failure)) {
        throw UsageError("The folder of '" + options.output + "' does not exist.");
    }
    place.RequireWritable();
    if (options.existing == ExistingLabels::kSkip && std::filesystem::exists(options.output, failure)) {
        throw UsageError("'" + options.output + "' exists; --overwrite replaces it.");
    }
    return place;
}

template <typename T, typename Fits>
void AddNumber(CLI::App& command, const std::string& name, const char* needed, Fits fits, T& value,
               const std::string& help) {
    const auto take = [&value, name, needed, fits](const std::string& text) {
        const std::optional<double> number = ParseNumber<double>(text);
        if (!number || !fits(*number)) {
            throw CLI::ValidationError(name, std::string("needs ") + needed + ", not '" + text + "'");
        }
        value = *number;
    };
    command.add_option_function<std::string>(name, take, help)->type_name("NUMBER");
}

void AddEvaluations(CLI::App& command, std::size_t& evaluations) {
    const auto take = [&evaluations](const std::string& text) {
        const char* const end = text.data() + text.size();
        const auto result = std::from_chars(text.data(), end, evaluations);
        if (result.ec != std::errc() || result.ptr != end || evaluations < 1 || evaluations > 100000) {
            throw CLI::ValidationError("--evaluations", "needs a whole number from 1 to 100000, not '" + text + "'");
        }
    };
    command
        .add_option_function<std::string>("--evaluations", take,
                                          "Parameters tried on each image in each search, default 200")
        ->type_name("N");
}

/// Each image is tried with each combination, in the search over all images and in about as many more in the others.
DryRunRules DryRunOf(const TuneOptions& options, const OutputPlace& place) {
    DryRunRules rules;
    rules.word = "learn from";
    rules.lacks = [&options](const ImageFiles& files) { return MissingTruth(files, options.truth); };
    rules.needs = DryRunNeeds::kPlaneOfKnownSize;
    rules.cost.nsPerPixel = 170.0 * static_cast<double>(options.evaluations);
    rules.cost.bytesPerPixel = 150.0;
    rules.cost.holds = RunCost::Holds::kAllImages;
    if (options.budgetSeconds) rules.cost.mostSeconds = *options.budgetSeconds;
    if (!place.Path().empty()) rules.writes.push_back(PathText(place.Path()));
    return rules;
}

}  // namespace

void AddTuneOptions(CLI::App& command, TuneOptions& options) {
    AddInput(command, options.input);
    AddTruth(command, options.truth);
    command
        .add_option("-o,--output", options.output,
                    "Parameters file to write (default: parameters.json; - is the standard output)")
        ->type_name("FILE");
    AddOverwrite(command, options.existing, "Replace an existing parameters file");
    AddSwitch(
        command, "--keep-learnt", [&options] { options.unproven = UnprovenValues::kLearnt; },
        "Write the learnt values also where they are not proven better (default: then the defaults)");
    AddSwitch(
        command, "--panoptic", [&options] { options.score.kind = ScoreKind::kPanopticQuality; },
        "Learn for the panoptic quality instead of F1");
    AddNumber(
        command, "--recall-weight", "a number from 0.01 to 100",
        [](double number) { return number >= 0.01 && number <= 100.0; }, options.score.recallWeight,
        "How much more recall counts than precision in F, default 1");
    command.get_option("--recall-weight")->excludes("--panoptic");
    AddNumber(
        command, "--threshold", "a number above 0, up to 1",
        [](double number) { return number > 0.0 && number <= 1.0; }, options.threshold,
        "Least intersection over union of a match, default 0.5");
    AddEvaluations(command, options.evaluations);
    AddNumber(
        command, "--budget", "seconds above 0", [](double number) { return number > 0.0; }, options.budgetSeconds,
        "End after so many seconds; what is found then depends on the machine");
    AddPixelSizeChoice(command, options.pixelSize);
    AddJobs(command, options.jobs);
    AddDryRun(command, options.jobs);
}

int RunTune(const TuneOptions& options, const Streams& streams) {
    const OutputPlace place = PlaceFor(options);
    ImageRun run;
    run.input = options.input;
    CheckTruth(options.truth, run.input);
    run.pixelSize = options.pixelSize;
    run.jobs = options.jobs;
    run.doneText = [](const ImageOutcome& outcome) {
        return wxString::Format("%zu true objects", outcome.objectCount);
    };
    run.dryRun = DryRunOf(options, place);
    Lessons lessons;
    run.work = [&](ImageJob& job) { ReadLesson(job, options, lessons); };
    const int status = RunImages(run, streams);
    if (status != kExitDone || options.jobs.dryRun) return status;

    const std::vector<TrainingImage> images = lessons.Take();
    const unsigned jobs = ShareOut(options.jobs).images;
    SetOpenCVThreads(1);
    Steps steps(options, streams);
    TuningOptions tuning;
    tuning.score = options.score;
    tuning.matchThreshold = options.threshold;
    tuning.evaluations = options.evaluations;
    tuning.nextStep = [&steps](const TuningProgress& progress) { return steps.Next(progress); };
    tuning.run = [jobs](std::size_t count, const std::function<void(std::size_t)>& part) {
        RunJobs(
            count, jobs, [] { return false; }, part);
    };
    try {
        return Report(TuneParameters(images, tuning), place, options, streams) ? kExitDone : kExitSomeFailed;
    } catch (const TuningCancelled&) {
        WriteOut(streams.messages, "Interrupted: no parameters are written.\n");
        return kExitInterrupted;
    } catch (const qvox::ToolkitError& error) {
        WriteOut(streams.messages, std::string("error: ") + error.what() + "\n");
        return kExitSomeFailed;
    }
}

}  // namespace Korvane

#include "OptionGroups.h"

#include <CLI/CLI.hpp>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <system_error>
#include <utility>

#include "ListFile.h"
#include "ParametersFile.h"
#include "ParseNumber.h"
#include "ShortestText.h"
#include "ToolkitError.h"

namespace Korvane {

namespace {

constexpr unsigned kMostJobs = 1024;

/// Option names of the parameters, in the order of kParameterRanges.
constexpr std::array<const char*, kParameterRanges.size()> kParameterOptions{
    {"--edge-contrast", "--area-fraction", "--roundness", "--max-cluster-size", "--exosome-size", "--min-diameter"}};

enum class NoImages { kRefused, kTaken };

/// The list is read when the whole line is known: --null may stand behind it.
void AddList(CLI::App& command, InputOptions& input, NoImages none) {
    auto* const list = command.add_option("--files-from",
                                          "More images: a file that names one in each line; - reads "
                                          "the standard input");
    list->type_name("FILE");
    auto* const null = command.add_flag("-0,--null", "The names in this file end in zero bytes");
    null->needs(list);
    command.final_callback([&input, list, null, none] {
        if (list->count() == 0) {
            if (input.images.empty() && none == NoImages::kRefused) throw CLI::RequiredError("IMAGE");
            return;
        }
        try {
            ListedImages listed =
                ReadListFile(list->as<std::string>(), null->count() > 0 ? ListSeparator::kNull : ListSeparator::kLine);
            input.images.insert(input.images.end(), listed.others.begin(), listed.others.end());
            input.listed = std::move(listed.files);
        } catch (const qvox::ToolkitError& error) {
            throw CLI::ValidationError("--files-from", error.what());
        }
    });
}

/// --recursive, --include and --exclude.
void AddFolderChoice(CLI::App& command, FolderChoice& choice, const std::string& recursive) {
    AddSwitch(
        command, "--recursive", [&choice] { choice.subfolders = Subfolders::kEntered; }, recursive);
    const auto addGlobs = [&command](const char* name, std::vector<std::string>& globs, const char* help) {
        command.add_option(name, globs, help)
            ->type_name("GLOB")
            ->expected(1)
            ->allow_extra_args(false)
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    };
    addGlobs("--include", choice.include,
             "Of folders, only files whose names match; \"seg_*\" and the like also take products of earlier runs");
    addGlobs("--exclude", choice.exclude, "Of folders, no files whose names match");
}

void AddShard(CLI::App& command, std::optional<Shard>& shard) {
    const auto take = [&shard](const std::string& text) {
        try {
            shard = ParseShard(text, [](const char* name) { return std::getenv(name); });
        } catch (const qvox::ToolkitError& error) {
            throw CLI::ValidationError("--shard", error.what());
        }
    };
    command
        .add_option_function<std::string>("--shard", take,
                                          "Work on part I of N of the images only; slurm: on that of this array task")
        ->type_name("I/N");
}

}  // namespace

void AddInput(CLI::App& command, InputOptions& input) {
    command.add_option("IMAGE", input.images, "TIFF files, or folders of them")->type_name("");
    AddList(command, input, NoImages::kRefused);
    AddFolderChoice(command, input.choice,
                    "Of folders, also the images in their subfolders; the output folder gets the same subfolders");
    AddShard(command, input.shard);
    const auto takePage = [&input](const std::string& text) {
        const char* const end = text.data() + text.size();
        const auto result = std::from_chars(text.data(), end, input.reading.page);
        if (result.ec != std::errc() || result.ptr != end || input.reading.page < 1) {
            throw CLI::ValidationError("--page", "needs a whole number from 1, not '" + text + "'");
        }
    };
    command
        .add_option_function<std::string>("--page", takePage,
                                          "Read this page of each file (default: the first that is no preview)")
        ->type_name("N");
    AddVerbosity(command, input.verbosity);
}

void AddKnownImages(CLI::App& command, InputOptions& input) {
    command.add_option("--images", input.images, "The images that are to be there: TIFF files, or folders of them")
        ->type_name("IMAGE")
        ->expected(1)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    AddList(command, input, NoImages::kTaken);
    AddFolderChoice(command, input.choice, "Of folders, also the images in their subfolders");
}

void AddVerbosity(CLI::App& command, Verbosity& verbosity) {
    auto* quiet = command.add_flag_callback(
        "--quiet", [&verbosity] { verbosity = Verbosity::kQuiet; }, "Say nothing but warnings and errors");
    auto* verbose = command.add_flag_callback(
        "--verbose", [&verbosity] { verbosity = Verbosity::kVerbose; }, "Tell each step and level");
    quiet->excludes(verbose);
}

void AddPlace(CLI::App& command, const std::string& names, std::optional<std::string>& place, const std::string& type,
              const std::string& help) {
    const std::string name = names.substr(names.find("--"));
    const auto take = [&place, name](const std::string& text) {
        if (text.empty()) throw CLI::ValidationError(name, "needs a name");
        place = text;
    };
    command.add_option_function<std::string>(names, take, help)->type_name(type);
}

void AddOutput(CLI::App& command, Places& places) {
    AddPlace(command, "-o,--output", places.output, "DIR", "Folder for what is written (default: beside each image)");
}

void AddLabels(CLI::App& command, Places& places) {
    AddPlace(command, "--labels", places.labels, "DIR",
             "Folder to read seg_NAME from (default: the output folder, else beside each image)");
}

void AddTable(CLI::App& command, Places& places, const std::string& help) {
    AddPlace(command, "--table", places.table, "FILE", help);
}

void AddStyle(CLI::App& command, OverlayStyle& style, Places& places) {
    const auto add = [&](const char* name, OverlayLook chosen, const char* help) {
        return command.add_flag_callback(
            name, [&style, chosen] { style.look = chosen; }, help);
    };
    auto* raw = add("--raw", OverlayLook::kRaw, "Overlay: the image only");
    auto* regions = add("--regions", OverlayLook::kRegions, "Overlay: whole regions instead of contours");
    auto* rim = add("--rim", OverlayLook::kRims, "Overlay: the rims that were measured instead of contours");
    raw->excludes(regions);
    rim->excludes(raw);
    rim->excludes(regions);
    command.add_flag("--numbers", style.numbers, "Overlay: the number of each object")->excludes(raw);
    command.add_flag("--scale-bar", style.scaleBar, "Overlay: a scale bar with its length");
    command
        .add_option_function<std::string>(
            "--overlay-format",
            [&places](const std::string& name) {
                places.overlayFormat = name == "png" ? OverlayFormat::kPng : OverlayFormat::kTiff;
            },
            "Format of overlays: tiff (default) or png")
        ->type_name("FORMAT")
        ->check(CLI::IsMember({"tiff", "png"}));
}

void AddOverwrite(CLI::App& command, ExistingLabels& existing, const std::string& help) {
    AddSwitch(
        command, "--overwrite", [&existing] { existing = ExistingLabels::kReplace; }, help);
}

void AddStrict(CLI::App& command, RecordCheck& check) {
    AddSwitch(
        command, "--strict", [&check] { check = RecordCheck::kStrict; },
        "Fail images whose existing seg_NAME was made otherwise (default: a warning)");
}

void AddParametersFile(CLI::App& command, AnalysisParameters& parameters, std::optional<UsedFile>& file,
                       const std::string& help) {
    const auto take = [&parameters, &file](const std::string& path) {
        try {
            // A pipe is opened once: its writer may be gone before a second time, which would wait for another one.
            std::error_code failure;
            std::optional<SourceFile> source;
            if (std::filesystem::is_regular_file(path, failure)) source.emplace(path);
            parameters = ReadParametersFile(path).parameters;
            file = UsedFile{path, source ? source->Digest() : FileDigest()};
        } catch (const qvox::ToolkitError& error) {
            throw CLI::ValidationError("--parameters", error.what());
        }
    };
    command.add_option_function<std::string>("--parameters", take, help)->type_name("FILE")->group("Parameters");
}

void AddParameters(CLI::App& command, AnalysisParameters& parameters) {
    for (std::size_t i = 0; i < kParameterRanges.size(); ++i) {
        const ParameterRange& range = kParameterRanges[i];
        const std::string name = kParameterOptions[i];
        const std::string limits = qvox::ShortestText(range.minimum) + " to " + qvox::ShortestText(range.maximum);
        std::string help = range.label;
        help.pop_back();
        help += ", " + limits + ", default " + qvox::ShortestText(AnalysisParameters().*range.field);
        const auto take = [&parameters, range, name, limits](const std::string& text) {
            const std::optional<float> value = ParseNumber<float>(text);
            if (!value || *value < range.minimum || *value > range.maximum) {
                std::ostringstream needed;
                needed << "needs a number from " << limits << ", not '" << text << "'";
                throw CLI::ValidationError(name, needed.str());
            }
            parameters.*range.field = *value;
        };
        command.add_option_function<std::string>(name, take, help)->type_name("NUMBER")->group("Parameters");
    }
}

namespace {

CLI::Option* AddNanometres(CLI::App& command, const std::string& name, const std::function<void(double)>& store,
                           const std::string& help) {
    const auto take = [store, name](const std::string& text) {
        const std::optional<double> value = ParseNumber<double>(text);
        const float resolution = value && *value > 0.0 ? static_cast<float>(1000.0 / *value) : 0.0f;
        if (!(resolution > 0.0f) || !std::isfinite(resolution)) {
            throw CLI::ValidationError(name, "needs nanometres greater than 0, not '" + text + "'");
        }
        store(*value);
    };
    return command.add_option_function<std::string>(name, take, help)->type_name("NM");
}

}  // namespace

void AddPixelSize(CLI::App& command, std::optional<double>& pixelSizeNm, const std::string& help) {
    AddNanometres(
        command, "--pixel-size", [&pixelSizeNm](double nm) { pixelSizeNm = nm; }, help);
}

void AddPixelSizeChoice(CLI::App& command, GivenPixelSize& given) {
    auto* always = AddNanometres(
        command, "--pixel-size",
        [&given](double nm) {
            given = {nm, GivenPixelSize::Holds::kAlways};
        },
        "Use this pixel size instead of the file's");
    auto* missing = AddNanometres(
        command, "--pixel-size-if-missing",
        [&given](double nm) {
            given = {nm, GivenPixelSize::Holds::kWhereMissing};
        },
        "Use this pixel size where the file stores none");
    always->excludes(missing);
}

void AddJobs(CLI::App& command, JobOptions& jobs) {
    const auto addCount = [&command](const char* name, std::optional<unsigned>& count, const char* help) {
        const auto take = [name, &count](const std::string& text) {
            count = ParseNumber<unsigned>(text);
            if (!count || *count < 1 || *count > kMostJobs) {
                throw CLI::ValidationError(name, "needs a whole number from 1 to 1024, not '" + text + "'");
            }
        };
        command.add_option_function<std::string>(name, take, help)->type_name("N");
    };
    addCount("--jobs", jobs.images, "Images worked on at a time (default: as many as threads)");
    addCount("--threads", jobs.threads,
             "Threads of all images together (default: the processors that the process may use)");
    auto* const ends = command.add_flag_callback(
        "--fail-fast", [&jobs] { jobs.afterFailure = AfterFailure::kEnd; },
        "Begin no image after one has failed; then no table is written");
    command
        .add_flag_callback(
            "--keep-going", [&jobs] { jobs.afterFailure = AfterFailure::kGoOn; },
            "Work on the others when an image fails (the default)")
        ->excludes(ends);
    const auto takeLimit = [&jobs](const std::string& text) {
        jobs.timeLimitSeconds = ParseNumber<double>(text);
        if (!jobs.timeLimitSeconds || !(*jobs.timeLimitSeconds > 0.0) || !std::isfinite(*jobs.timeLimitSeconds)) {
            throw CLI::ValidationError("--time-limit", "needs seconds above 0, not '" + text + "'");
        }
    };
    command
        .add_option_function<std::string>("--time-limit", takeLimit,
                                          "An image that takes longer fails; the others are done")
        ->type_name("SECONDS");
}

void AddDryRun(CLI::App& command, JobOptions& jobs) {
    command.add_flag("--dry-run", jobs.dryRun,
                     "Write nothing: print what would be done with each image, and how long it may take");
}

void AddSwitch(CLI::App& command, const std::string& name, const std::function<void()>& action,
               const std::string& help) {
    command.add_flag_callback(name, action, help);
}

}  // namespace Korvane

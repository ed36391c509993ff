#include "Options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <memory>
#include <sstream>

#include "Version.h"

namespace Korvane {

namespace {

struct CommandText {
    BatchCommand command;
    const char* name;
    const char* help;
};

constexpr std::array<CommandText, 6> kCommands{{
    {BatchCommand::kDetect, "detect", "Detect exosomes; writes seg_NAME per image"},
    {BatchCommand::kSegment, "segment", "Seeded segmentation of existing seg_NAME files"},
    {BatchCommand::kMeasure, "measure", "Measurement table of existing seg_NAME files"},
    {BatchCommand::kOverlay, "overlay", "export_NAME pictures of existing seg_NAME files"},
    {BatchCommand::kCalibrate, "calibrate", "Copies of images with a pixel size stored in them"},
    {BatchCommand::kInfo, "info", "Size, voxel type, pixel size and where it was found"},
}};

/// Option names of the parameters, in the order of kParameterRanges.
constexpr std::array<const char*, kParameterRanges.size()> kParameterOptions{
    {"--edge-contrast", "--area-fraction", "--roundness", "--max-cluster-size", "--exosome-size", "--min-diameter"}};

/// The shortest decimal that gives this number again; the same in every locale.
template <typename T>
std::string NumberText(T value) {
    std::array<char, 64> text;
    const auto result = std::to_chars(text.data(), text.data() + text.size(), value);
    return std::string(text.data(), result.ptr);
}

/// The whole text as a finite number, with "." as the decimal point in every locale.
template <typename T>
std::optional<T> ParseNumber(const std::string& text) {
    T value{};
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    if (result.ec != std::errc() || result.ptr != end || !std::isfinite(value)) return std::nullopt;
    return value;
}

void AddParameters(CLI::App& command, BatchOptions& options) {
    for (std::size_t i = 0; i < kParameterRanges.size(); ++i) {
        const ParameterRange& range = kParameterRanges[i];
        const std::string name = kParameterOptions[i];
        const std::string limits = NumberText(range.minimum) + " to " + NumberText(range.maximum);
        std::string help = range.label;
        help.pop_back();
        help += ", " + limits + ", default " + NumberText(AnalysisParameters().*range.field);
        const auto take = [&options, range, name, limits](const std::string& text) {
            const std::optional<float> value = ParseNumber<float>(text);
            if (!value || *value < range.minimum || *value > range.maximum) {
                std::ostringstream needed;
                needed << "needs a number from " << limits << ", not '" << text << "'";
                throw CLI::ValidationError(name, needed.str());
            }
            options.parameters.*range.field = *value;
        };
        command.add_option_function<std::string>(name, take, help)->type_name("NUMBER")->group("Parameters");
    }
}

CLI::Option* AddPixelSize(CLI::App& command, BatchOptions& options, const std::string& help) {
    const std::string name = "--pixel-size";
    const auto take = [&options, name](const std::string& text) {
        const std::optional<double> value = ParseNumber<double>(text);
        const float resolution = value && *value > 0.0 ? static_cast<float>(1000.0 / *value) : 0.0f;
        if (!(resolution > 0.0f) || !std::isfinite(resolution)) {
            throw CLI::ValidationError(name, "needs nanometres greater than 0, not '" + text + "'");
        }
        options.pixelSizeNm = value;
    };
    return command.add_option_function<std::string>(name, take, help)->type_name("NM");
}

void AddFolder(CLI::App& command, const std::string& names, std::optional<std::string>& folder, const std::string& type,
               const std::string& help) {
    const std::string name = names.substr(names.find("--"));
    const auto take = [&folder, name](const std::string& text) {
        if (text.empty()) throw CLI::ValidationError(name, "needs a name");
        folder = text;
    };
    command.add_option_function<std::string>(names, take, help)->type_name(type);
}

void AddStyle(CLI::App& command, BatchOptions& options) {
    auto* raw = command.add_flag_callback(
        "--raw", [&options] { options.style = LabelStyle::kNone; }, "Overlay: the image only");
    auto* regions = command.add_flag_callback(
        "--regions", [&options] { options.style = LabelStyle::kRegions; },
        "Overlay: whole regions instead of contours");
    raw->excludes(regions);
}

void AddVerbosity(CLI::App& command, BatchOptions& options) {
    auto* quiet = command.add_flag_callback(
        "--quiet", [&options] { options.verbosity = Verbosity::kQuiet; }, "Say nothing but warnings and errors");
    auto* verbose = command.add_flag_callback(
        "--verbose", [&options] { options.verbosity = Verbosity::kVerbose; }, "Tell each step and level");
    quiet->excludes(verbose);
}

void AddJobs(CLI::App& command, BatchOptions& options) {
    const auto take = [&options](const std::string& text) {
        const char* const end = text.data() + text.size();
        const auto result = std::from_chars(text.data(), end, options.jobs);
        if (result.ec != std::errc() || result.ptr != end || options.jobs < 1 || options.jobs > 1024) {
            throw CLI::ValidationError("--jobs", "needs a whole number from 1 to 1024, not '" + text + "'");
        }
    };
    command
        .add_option_function<std::string>("--jobs", take,
                                          "Images worked on at a time (default: the processors that may be used)")
        ->type_name("N");
}

void AddCalibration(CLI::App& command, BatchOptions& options) {
    AddPixelSize(command, options, "The pixel size to store, in nanometres")->required();
    AddFolder(command, "-o,--output", options.output, "DIR",
              "Folder for the copies, under the images' own names (default: calibrated_NAME beside each image)");
    command.add_flag_callback(
        "--overwrite", [&options] { options.existing = ExistingLabels::kReplace; },
        "Replace existing copies (default: such an image is skipped)");
    command.add_flag_callback(
        "--force", [&options] { options.existingPixelSize = ExistingPixelSize::kReplace; },
        "Also copy images that have another pixel size (default: they are refused)");
    AddJobs(command, options);
}

void AddCommand(CLI::App& app, const CommandText& text, BatchOptions& options) {
    CLI::App& command = *app.add_subcommand(text.name, text.help);
    command.add_option("IMAGE", options.images, "TIFF files, or folders of them")->required()->type_name("");
    command.parse_complete_callback([&options, text] { options.command = text.command; });
    AddVerbosity(command, options);
    if (text.command == BatchCommand::kInfo) return;
    if (text.command == BatchCommand::kCalibrate) return AddCalibration(command, options);

    const bool writesLabels = text.command == BatchCommand::kDetect || text.command == BatchCommand::kSegment;
    if (text.command != BatchCommand::kMeasure) {
        AddFolder(command, "-o,--output", options.output, "DIR",
                  "Folder for what is written (default: beside each image)");
        AddStyle(command, options);
    } else {
        AddFolder(command, "-o,--output", options.output, "DIR",
                  "Folder of the seg_NAME files when --labels is not given");
    }
    if (text.command != BatchCommand::kDetect) {
        AddFolder(command, "--labels", options.labels, "DIR",
                  "Folder to read seg_NAME from (default: the output folder, else beside each image)");
    }
    if (text.command != BatchCommand::kOverlay) {
        AddFolder(command, "--table", options.table, "FILE",
                  writesLabels ? "Write the measurement table there"
                               : "Write the measurement table there (default: standard output)");
    }
    if (writesLabels) {
        command.add_flag_callback(
            "--overwrite", [&options] { options.existing = ExistingLabels::kReplace; },
            "Replace existing seg_NAME files (default: such an image is skipped)");
        command.add_flag("--overlay", options.overlay, "Write export_NAME too");
        AddParameters(command, options);
    }
    if (text.command == BatchCommand::kDetect) {
        AddFolder(command, "--stages", options.stages, "DIR", "Also write what each stage of detection made");
    }
    AddPixelSize(command, options, "Use this pixel size instead of the file's");
    AddJobs(command, options);
}

}  // namespace

const char* CommandName(BatchCommand command) {
    const auto* found = std::find_if(kCommands.begin(), kCommands.end(),
                                     [command](const CommandText& text) { return text.command == command; });
    return found->name;
}

CommandLine ParseCommandLine(const std::vector<std::string>& arguments) {
    BatchOptions options;
    CLI::App app("Finds and measures exosomes in electron micrographs, without a window.", "korvane-batch");
    app.set_version_flag("--version", std::string("korvane-batch ") + kVersion);
    app.require_subcommand(1);
    for (const CommandText& text : kCommands) AddCommand(app, text, options);
    try {
        // The library takes its arguments last one first.
        std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());
        app.parse(std::move(reversed));
    } catch (const CLI::CallForHelp&) {
        const std::vector<CLI::App*> chosen = app.get_subcommands();
        return {std::nullopt, chosen.empty() ? app.help() : chosen.front()->help("korvane-batch")};
    } catch (const CLI::CallForVersion& version) {
        return {std::nullopt, std::string(version.what()) + "\n"};
    } catch (const CLI::ParseError& error) {
        const bool isWord = !arguments.empty() && arguments.front().rfind('-', 0) != 0;
        if (isWord && app.get_subcommands().empty()) {
            throw UsageError("There is no command '" + arguments.front() +
                             "'; the commands are detect, segment, measure, overlay, calibrate and info.");
        }
        throw UsageError(error.what());
    }
    return {options, {}};
}

}  // namespace Korvane

#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "AnalysisParameters.h"
#include "LabelPainter.h"

namespace Korvane {

enum class BatchCommand { kDetect, kSegment, kMeasure, kOverlay, kCalibrate, kInfo };

/// "detect", "segment" ...: the word on the command line.
const char* CommandName(BatchCommand command);

enum class ExistingLabels { kSkip, kReplace };
enum class ExistingPixelSize { kRefuse, kReplace };
enum class Verbosity { kQuiet, kNormal, kVerbose };

/// What one run was asked to do. Paths are the file system's bytes.
struct BatchOptions {
    BatchCommand command = BatchCommand::kDetect;
    std::vector<std::string> images;    ///< files and folders, as given
    std::optional<std::string> output;  ///< none: beside each image
    std::optional<std::string> labels;  ///< none: the output folder, else beside each image
    std::optional<std::string> table;
    std::optional<std::string> stages;
    ExistingLabels existing = ExistingLabels::kSkip;
    bool overlay = false;  ///< detect, segment: write the overlay picture too
    LabelStyle style = LabelStyle::kContours;
    std::optional<double> pixelSizeNm;  ///< instead of the file's; calibrate: the one to store, always there
    ExistingPixelSize existingPixelSize = ExistingPixelSize::kRefuse;  ///< calibrate
    AnalysisParameters parameters;
    unsigned jobs = 0;  ///< 0: as many as the process may use processors
    Verbosity verbosity = Verbosity::kNormal;
};

/// The command line asks for something that cannot be done; nothing was started.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A command line understood, or a text to print in its place (help, version).
struct CommandLine {
    std::optional<BatchOptions> options;
    std::string answer;
};

/// Understands the arguments after the program's name. Throws UsageError with a sentence that names the option.
CommandLine ParseCommandLine(const std::vector<std::string>& arguments);

}  // namespace Korvane

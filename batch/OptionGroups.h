#pragma once

#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "AnalysisParameters.h"
#include "FileDigest.h"
#include "ImageList.h"
#include "Shard.h"
#include "files/ImageFile.h"

namespace CLI {
class App;
}

// Options that several commands have in common. A command's own options are a struct beside its function, made of these
// groups; its registration adds them in the order in which the help shows them.

namespace Korvane {

/// The command line asks for something that cannot be done; nothing was started.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

enum class Verbosity { kQuiet, kNormal, kVerbose };
enum class ExistingLabels { kSkip, kReplace };
/// What a record that differs from what is asked for means to an image whose labels are kept.
enum class RecordCheck { kWarn, kStrict };

/// The images of a run. Paths are the file system's bytes.
struct InputOptions {
    std::vector<std::string> images;  ///< files and folders, as given
    PathList listed;                  ///< files of a list, after those
    FolderChoice choice;              ///< of the folders' files
    std::optional<Shard> shard;       ///< the part of them that is worked on; none: all
    qvox::ReadOptions reading;        ///< which page of each file
    Verbosity verbosity = Verbosity::kNormal;
};

enum class OverlayFormat { kTiff, kPng };

/// Folders and files that a run reads from and writes to, beside the images.
struct Places {
    std::optional<std::string> output;  ///< none: beside each image
    std::optional<std::string> labels;  ///< none: the output folder, else beside each image
    std::optional<std::string> table;
    std::optional<std::string> csv;  ///< the table of objects
    std::optional<std::string> stages;
    OverlayFormat overlayFormat = OverlayFormat::kTiff;
    std::vector<std::string> singleFiles = {};  ///< beside the tables, for all images together
};

/// A pixel size given by the user, in nanometres, and when it holds.
struct GivenPixelSize {
    enum class Holds { kAlways, kWhereMissing };
    std::optional<double> nm;
    Holds holds = Holds::kAlways;
};

/// How an overlay shows the objects.
enum class OverlayLook { kContours, kRegions, kRims, kRaw };

struct OverlayStyle {
    OverlayLook look = OverlayLook::kContours;
    bool numbers = false;   ///< the objects' labels beside them
    bool scaleBar = false;  ///< in nanometres, in the lower right corner
};

/// IMAGE, --files-from, --null, --recursive, --shard, --include, --exclude, --page, --quiet and --verbose.
void AddInput(CLI::App& command, InputOptions& input);
/// The same images without working on them: --images, --files-from, --null, --recursive, --include and --exclude; none
/// may be given.
void AddKnownImages(CLI::App& command, InputOptions& input);
/// --quiet and --verbose.
void AddVerbosity(CLI::App& command, Verbosity& verbosity);

/// An option that names a folder or a file; "-o,--output" for one with a short name, `type` for the help.
void AddPlace(CLI::App& command, const std::string& names, std::optional<std::string>& place, const std::string& type,
              const std::string& help);
/// -o and --output, for files that are written beside the images without it.
void AddOutput(CLI::App& command, Places& places);
/// --labels.
void AddLabels(CLI::App& command, Places& places);
/// --table.
void AddTable(CLI::App& command, Places& places, const std::string& help);

/// --raw, --regions, --rim, --numbers, --scale-bar and --overlay-format.
void AddStyle(CLI::App& command, OverlayStyle& style, Places& places);

/// --overwrite.
void AddOverwrite(CLI::App& command, ExistingLabels& existing, const std::string& help);

/// --strict.
void AddStrict(CLI::App& command, RecordCheck& check);

/// --parameters. Comes before AddParameters, whose options then win over the file wherever they stand on the line. A
/// pipe has no digest.
void AddParametersFile(CLI::App& command, AnalysisParameters& parameters, std::optional<UsedFile>& file,
                       const std::string& help = "Take the parameters from this file; the options below win over it");

/// One option for each of kParameterRanges.
void AddParameters(CLI::App& command, AnalysisParameters& parameters);

/// --pixel-size.
void AddPixelSize(CLI::App& command, std::optional<double>& pixelSizeNm, const std::string& help);

/// --pixel-size and --pixel-size-if-missing, of which one may be given.
void AddPixelSizeChoice(CLI::App& command, GivenPixelSize& given);

/// What a failed image means to the images after it.
enum class AfterFailure {
    kGoOn,
    kEnd,  ///< none is begun any more
};

/// How a run goes about its images.
struct JobOptions {
    std::optional<unsigned> images;   ///< at a time; none: as many as threads
    std::optional<unsigned> threads;  ///< of all images together; none: the processors that may be used
    AfterFailure afterFailure = AfterFailure::kGoOn;
    std::optional<double> timeLimitSeconds;  ///< of each image
    bool dryRun = false;                     ///< only say what would be done
};

/// --jobs, --threads, --fail-fast, --keep-going and --time-limit.
void AddJobs(CLI::App& command, JobOptions& jobs);

/// --dry-run.
void AddDryRun(CLI::App& command, JobOptions& jobs);

/// A switch that calls `action` where it is given.
void AddSwitch(CLI::App& command, const std::string& name, const std::function<void()>& action,
               const std::string& help);

}  // namespace Korvane

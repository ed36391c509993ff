#include "InputList.h"

#include <filesystem>
#include <map>
#include <set>
#include <system_error>

#include "DetectionStages.h"
#include "PathText.h"
#include "ResultFiles.h"
#include "ToolkitError.h"

namespace Korvane {

namespace {

ChosenFolder FolderText(const std::optional<std::string>& folder) {
    if (!folder) return std::nullopt;
    return PathText(FullPath(*folder));
}

std::vector<wxString> WrittenFor(const BatchOptions& options, const ImageFiles& files) {
    std::vector<wxString> written;
    const bool labels = options.command == BatchCommand::kDetect || options.command == BatchCommand::kSegment;
    if (labels) written.push_back(files.labels);
    if (options.command == BatchCommand::kOverlay || options.overlay) written.push_back(files.picture);
    if (options.command == BatchCommand::kCalibrate) written.push_back(files.copy);
    if (options.stages) {
        for (const DetectionStageRow& row : kDetectionStages) {
            if (!row.filePrefix.empty()) written.push_back(StagePath(options, files, std::string(row.filePrefix)));
        }
    }
    return written;
}

/// Where a path leads to in the end. Two paths that differ may be one file through a link.
wxString Place(const wxString& path) {
    std::error_code unreachable;
    const std::filesystem::path place = std::filesystem::weakly_canonical(PathBytes(path), unreachable);
    return unreachable ? path : PathText(place.string());
}

[[noreturn]] void Refuse(const wxString& text) { throw UsageError(PathBytes(text)); }

/// Each place that a run writes to, with the image that it is written for.
using Writers = std::map<wxString, wxString>;

Writers RequireDistinctFiles(const BatchOptions& options, const std::vector<ImageFiles>& images,
                             const std::set<wxString>& inputs) {
    Writers writers;
    for (const ImageFiles& files : images) {
        for (const wxString& path : WrittenFor(options, files)) {
            const wxString place = Place(path);
            const auto [other, fresh] = writers.emplace(place, files.input);
            if (!fresh && other->second != files.input) {
                Refuse("'" + other->second + "' and '" + files.input + "' would both be written to '" + path + "'.");
            }
            if (!fresh) Refuse("'" + path + "' would be written twice for '" + files.input + "'.");
            if (inputs.count(place) > 0) {
                Refuse("'" + path + "' is an input image and would be written for '" + files.input + "'.");
            }
        }
    }
    return writers;
}

void RequireDistinct(const BatchOptions& options, const std::vector<ImageFiles>& images) {
    std::set<wxString> inputs;
    for (const ImageFiles& files : images) inputs.insert(Place(files.input));
    const Writers writers = RequireDistinctFiles(options, images, inputs);
    if (!options.table) return;
    const wxString table = PathText(FullPath(*options.table));
    const wxString place = Place(table);
    if (inputs.count(place) > 0 || writers.count(place) > 0) {
        Refuse("The table '" + table + "' would be written over an image of this run.");
    }
    for (const ImageFiles& files : images) {
        if (place == Place(files.labels) || place == Place(files.seeds)) {
            Refuse("The table '" + table + "' would be written over the labels of '" + files.input + "'.");
        }
        if (place == Place(ReportPath(FolderOf(files.labels)))) {
            Refuse("The table '" + table + "' would be written where the report of the run goes.");
        }
    }
}

}  // namespace

std::vector<std::string> ExpandInputs(const std::vector<std::string>& arguments, const std::string& leftOut) {
    try {
        return ListImages(arguments, leftOut);
    } catch (const qvox::ToolkitError& error) {
        throw UsageError(error.what());
    }
}

wxString ReportPath(const wxString& folder) { return JoinPath(folder, "korvane-run.json"); }

wxString StagePath(const BatchOptions& options, const ImageFiles& files, const wxString& prefix) {
    return PrefixedPath(files.input, FolderText(options.stages), prefix);
}

std::vector<ImageFiles> PlanFiles(const BatchOptions& options, const std::vector<std::string>& inputs) {
    const ChosenFolder output = FolderText(options.output);
    const ChosenFolder labels = options.labels ? FolderText(options.labels) : output;
    std::vector<ImageFiles> images;
    for (const std::string& input : inputs) {
        ImageFiles files;
        files.input = PathText(input);
        files.labels = SegResultPath(files.input, output);
        files.seeds = SegResultPath(files.input, labels);
        files.picture = ExportPath(files.input, output);
        files.copy = PrefixedPath(files.input, output, output ? "" : kCalibratedPrefix);
        images.push_back(std::move(files));
    }
    RequireDistinct(options, images);
    return images;
}

}  // namespace Korvane

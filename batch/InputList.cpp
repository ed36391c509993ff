#include "InputList.h"

#include <map>
#include <set>

#include "PathText.h"
#include "ResultFiles.h"
#include "SharedFiles.h"
#include "ToolkitError.h"

namespace Korvane {

namespace {

ChosenFolder FolderText(const std::optional<std::string>& folder) {
    if (!folder) return std::nullopt;
    return PathText(FullPath(*folder));
}

std::vector<wxString> WrittenFor(const Places& places, const WrittenFiles& written, const ImageFiles& files) {
    std::vector<wxString> paths;
    for (const auto file : written) paths.push_back(files.*file);
    if (!places.stages) return paths;
    for (const DetectionStageRow& row : kDetectionStages) {
        if (!row.filePrefix.empty()) paths.push_back(StagePath(places, files, row.stage));
    }
    return paths;
}

[[noreturn]] void Refuse(const wxString& text) { throw UsageError(PathBytes(text)); }

/// Each place that a run writes to, with the image that it is written for.
using Writers = std::map<wxString, wxString>;

Writers RequireDistinctFiles(const Places& places, const WrittenFiles& written, const std::vector<ImageFiles>& images,
                             const std::set<wxString>& inputs) {
    Writers writers;
    for (const ImageFiles& files : images) {
        for (const wxString& path : WrittenFor(places, written, files)) {
            const wxString place = PlaceOf(path);
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

/// Labels of one image would pass for those of another that has its name.
void RequireOwnLabels(const std::vector<ImageFiles>& images) {
    std::vector<wxString> inputs;
    std::vector<wxString> seeds;
    for (const ImageFiles& files : images) {
        inputs.push_back(files.input);
        seeds.push_back(files.seeds);
    }
    const wxString shared = SharedFileText(inputs, seeds, FileUse::kRead);
    if (!shared.empty()) Refuse("The labels of " + shared + ".");
}

/// A table is none of the files of the images.
void RequireOwnFile(const wxString& table, const std::vector<ImageFiles>& images, const std::set<wxString>& inputs,
                    const Writers& writers) {
    const wxString place = PlaceOf(table);
    if (inputs.count(place) > 0 || writers.count(place) > 0) {
        Refuse("The table '" + table + "' would be written over an image of this run.");
    }
    for (const ImageFiles& files : images) {
        if (place == PlaceOf(files.labels) || place == PlaceOf(files.seeds)) {
            Refuse("The table '" + table + "' would be written over the labels of '" + files.input + "'.");
        }
        if (place == PlaceOf(ReportPath(FolderOf(files.labels)))) {
            Refuse("The table '" + table + "' would be written where the report of the run goes.");
        }
    }
}

bool SamePlace(const std::string& one, const std::string& other) {
    return PlaceOf(PathText(FullPath(one))) == PlaceOf(PathText(FullPath(other)));
}

void RequireDistinct(const Places& places, const WrittenFiles& written, const std::vector<ImageFiles>& images) {
    std::set<wxString> inputs;
    for (const ImageFiles& files : images) inputs.insert(PlaceOf(files.input));
    const Writers writers = RequireDistinctFiles(places, written, images, inputs);
    RequireOwnLabels(images);
    for (const auto& table : {places.table, places.csv}) {
        if (table) RequireOwnFile(PathText(FullPath(*table)), images, inputs, writers);
    }
    if (places.table && places.csv && *places.table != "-" && SamePlace(*places.table, *places.csv)) {
        Refuse("Both tables would be written to '" + PathText(FullPath(*places.table)) + "'.");
    }
}

}  // namespace

ImageListing ExpandInputs(const std::vector<std::string>& arguments, const FolderChoice& choice) {
    try {
        ImageListing listing = ListImages(arguments, choice);
        if (!listing.fromFolders && !(choice.include.empty() && choice.exclude.empty())) {
            throw UsageError("--include and --exclude choose among the files of folders, and no folder is given.");
        }
        return listing;
    } catch (const qvox::ToolkitError& error) {
        throw UsageError(error.what());
    }
}

wxString ReportPath(const wxString& folder) { return JoinPath(folder, "korvane-run.json"); }

wxString StagePath(const Places& places, const ImageFiles& files, DetectionStage stage) {
    return PrefixedPath(files.input, FolderText(places.stages),
                        wxString::FromUTF8(std::string(RowOf(stage).filePrefix)));
}

std::vector<ImageFiles> PlanFiles(const Places& places, const WrittenFiles& written,
                                  const std::vector<std::string>& inputs) {
    const ChosenFolder output = FolderText(places.output);
    const ChosenFolder labels = places.labels ? FolderText(places.labels) : output;
    std::vector<ImageFiles> images;
    for (const std::string& input : inputs) {
        ImageFiles files;
        files.input = PathText(input);
        files.labels = SegResultPath(files.input, output);
        files.seeds = SegResultPath(files.input, labels);
        const bool isPng = places.overlayFormat == OverlayFormat::kPng;
        files.picture =
            isPng ? ExportPathWithEnding(files.input, output, ".png") : ExportPath(files.input, output);
        files.comparison = PrefixedPath(files.input, output, kComparisonPrefix);
        files.copy = PrefixedPath(files.input, output, output ? "" : kCalibratedPrefix);
        files.imageJRegions = RegionsPath(files.input, output, ".zip");
        files.geoJsonRegions = RegionsPath(files.input, output, ".geojson");
        images.push_back(std::move(files));
    }
    RequireDistinct(places, written, images);
    return images;
}

}  // namespace Korvane

#include "InputList.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <string_view>
#include <system_error>

#include "PathText.h"
#include "ResultFiles.h"

namespace Korvane {

namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// The digits that begin at `at`, without leading zeros; moves `at` behind them.
std::string_view TakeNumber(std::string_view text, std::size_t& at) {
    while (at < text.size() && text[at] == '0') ++at;
    const std::size_t start = at;
    while (at < text.size() && IsDigit(text[at])) ++at;
    return text.substr(start, at - start);
}

bool StartsWith(const std::string& text, std::string_view prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

bool EndsWithAnyCase(const std::string& text, std::string_view ending) {
    return text.size() > ending.size() &&
           std::equal(ending.begin(), ending.end(), text.end() - static_cast<std::ptrdiff_t>(ending.size()),
                      [](char wanted, char found) { return wanted == Lower(found); });
}

bool IsImageName(const std::string& name) {
    const bool tiff = EndsWithAnyCase(name, ".tif") || EndsWithAnyCase(name, ".tiff");
    return tiff && !StartsWith(name, "seg_") && !StartsWith(name, "export_") && !StartsWith(name, ".");
}

std::vector<std::string> ImagesOfFolder(const std::string& folder, const std::string& leftOut) {
    std::error_code failure;
    std::vector<std::string> names;
    std::filesystem::directory_iterator entry(folder, failure);
    while (!failure && entry != std::filesystem::directory_iterator()) {
        std::error_code vanished;
        const std::string name = entry->path().filename().string();
        const bool passedOver = !leftOut.empty() && StartsWith(name, leftOut);
        if (IsImageName(name) && !passedOver && !entry->is_directory(vanished)) names.push_back(name);
        entry.increment(failure);
    }
    if (failure) throw UsageError("The folder '" + folder + "' cannot be read: " + failure.message() + ".");
    if (names.empty()) throw UsageError("The folder '" + folder + "' holds no image (*.tif, *.tiff).");
    std::sort(names.begin(), names.end(), NaturalLess);
    for (std::string& name : names) name = (std::filesystem::path(folder) / name).string();
    return names;
}

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
        for (const char* prefix : {"edges_", "candidates_", "filtered_", "separated_", "relief_", "markers_"}) {
            written.push_back(StagePath(options, files, prefix));
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

bool NaturalLess(const std::string& a, const std::string& b) {
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < a.size() && j < b.size()) {
        if (IsDigit(a[i]) && IsDigit(b[j])) {
            const std::string_view numberA = TakeNumber(a, i);
            const std::string_view numberB = TakeNumber(b, j);
            if (numberA.size() != numberB.size()) return numberA.size() < numberB.size();
            if (numberA != numberB) return numberA < numberB;
        } else {
            const auto charA = static_cast<unsigned char>(Lower(a[i++]));
            const auto charB = static_cast<unsigned char>(Lower(b[j++]));
            if (charA != charB) return charA < charB;
        }
    }
    if ((i < a.size()) != (j < b.size())) return j < b.size();
    return a < b;
}

std::string FullPath(const std::string& path) {
    std::error_code noWorkingFolder;
    std::filesystem::path full = std::filesystem::absolute(path, noWorkingFolder);
    if (noWorkingFolder) return path;
    // ".." stays: behind a link it leads elsewhere than the text suggests.
    const bool climbs = std::any_of(full.begin(), full.end(), [](const auto& part) { return part == ".."; });
    if (!climbs) full = full.lexically_normal();
    std::string text = full.string();
    while (text.size() > 1 && text.back() == '/') text.pop_back();
    return text;
}

std::vector<std::string> ExpandInputs(const std::vector<std::string>& arguments, const std::string& leftOut) {
    std::vector<std::string> inputs;
    std::set<std::string> known;
    const auto add = [&](const std::string& path) {
        std::string full = FullPath(path);
        if (known.insert(full).second) inputs.push_back(std::move(full));
    };
    for (const std::string& argument : arguments) {
        if (argument.empty()) throw UsageError("An image needs a name.");
        std::error_code unreachable;
        if (std::filesystem::is_directory(argument, unreachable)) {
            for (const std::string& image : ImagesOfFolder(argument, leftOut)) add(image);
        } else {
            add(argument);
        }
    }
    return inputs;
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

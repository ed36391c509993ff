#include "TruthLabels.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <system_error>

#include "ForeignLabels.h"
#include "PathText.h"

namespace Korvane {

void AddTruth(CLI::App& command, std::string& folder) {
    command
        .add_option("--truth", folder,
                    std::string("Folder of the true labels: seg_NAME, or NAME without .tif with ") + kTruthEnding)
        ->required()
        ->type_name("DIR");
}

void CheckTruth(const std::string& folder, InputOptions& input) {
    std::error_code failure;
    if (!std::filesystem::is_directory(folder, failure)) {
        throw UsageError("The folder '" + folder + "' of the true labels does not exist.");
    }
    const bool hasFolders = std::any_of(input.images.begin(), input.images.end(), [&](const std::string& argument) {
        return std::filesystem::is_directory(argument, failure);
    });
    if (hasFolders) input.choice.exclude.push_back(std::string("*") + kTruthEnding);
}

bool IsTruthOf(const ImageJob& job, const std::string& folder, const wxString& labels) {
    const wxString own = SegResultPath(job.Files().input, FolderFor(folder, job.Files().subfolder));
    std::error_code unreachable;
    return std::filesystem::equivalent(PathBytes(own), PathBytes(labels), unreachable);
}

namespace {

/// Of another program.
wxString ForeignTruth(const ImageFiles& files, const std::string& folder) {
    const std::filesystem::path image(PathBytes(files.input));
    return JoinPath(*FolderFor(folder, files.subfolder), PathText(image.stem().string() + kTruthEnding));
}

bool IsThere(const wxString& path) {
    std::error_code unreachable;
    return std::filesystem::exists(PathBytes(path), unreachable);
}

}  // namespace

wxString MissingTruth(const ImageFiles& files, const std::string& folder) {
    const wxString own = SegResultPath(files.input, FolderFor(folder, files.subfolder));
    const wxString other = ForeignTruth(files, folder);
    if (IsThere(own) || IsThere(other)) return {};
    return "there is neither '" + own + "' nor '" + other + "'";
}

bool ReadTruth(ImageJob& job, const std::string& folder, qvox::LabelImage& truth) {
    const wxString own = SegResultPath(job.Files().input, FolderFor(folder, job.Files().subfolder));
    if (DoFileTask(FileTask::kLoadResults, own, [&] { return LoadLabels(own, truth); }) == LabelsFound::kLoaded) {
        return true;
    }
    const wxString missing = MissingTruth(job.Files(), folder);
    if (!missing.empty()) {
        job.Warn("is left out: " + missing + ".");
        return false;
    }
    const wxString other = ForeignTruth(job.Files(), folder);
    DoFileTask(FileTask::kImportLabels, other, [&] {
        LoadForeignLabels(other, truth);
        return 0;
    });
    return true;
}

}  // namespace Korvane

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

bool ReadTruth(ImageJob& job, const std::string& folder, qvox::LabelImage& truth) {
    const wxString own = SegResultPath(job.Files().input, FolderFor(folder, job.Files().subfolder));
    if (DoFileTask(FileTask::kLoadResults, own, [&] { return LoadLabels(own, truth); }) == LabelsFound::kLoaded) {
        return true;
    }
    const std::filesystem::path image(PathBytes(job.Files().input));
    const std::filesystem::path other = std::filesystem::path(PathBytes(*FolderFor(folder, job.Files().subfolder))) /
                                        (image.stem().string() + kTruthEnding);
    std::error_code unreachable;
    if (!std::filesystem::exists(other, unreachable)) {
        job.Warn("is left out: there is neither '" + own + "' nor '" + PathText(other.string()) + "'.");
        return false;
    }
    DoFileTask(FileTask::kImportLabels, PathText(other.string()), [&] {
        LoadForeignLabels(PathText(other.string()), truth);
        return 0;
    });
    return true;
}

}  // namespace Korvane

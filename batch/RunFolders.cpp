#include "RunFolders.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <set>
#include <system_error>

#include "ImageRun.h"
#include "PathText.h"

namespace Korvane {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void RefuseToMake(const std::string& folder, const std::string& cause) {
    throw UsageError("The folder '" + folder + "' cannot be made: " + cause + ".");
}

void RequireWritable(const std::string& folder) {
    std::error_code failure;
    if (!fs::is_directory(folder, failure)) throw UsageError("'" + folder + "' is no folder.");
    if (::access(folder.c_str(), W_OK | X_OK) == 0) return;
    throw UsageError("The folder '" + folder + "' cannot be written to: " + std::generic_category().message(errno) +
                     ".");
}

/// Of the folders that would be made below `place`.
void RequireNamesFit(const std::string& folder, const std::string& place) {
    const std::size_t longest = LongestNameIn(place);
    std::error_code unreachable;
    fs::path made = fs::absolute(folder, unreachable);
    for (; longest > 0 && made.has_relative_path() && made != place; made = made.parent_path()) {
        if (made.filename().native().size() <= longest) continue;
        RefuseToMake(folder, std::generic_category().message(ENAMETOOLONG));
    }
}

}  // namespace

std::string FolderThatIsThere(const std::string& folder) {
    std::error_code unreachable;
    fs::path place = fs::absolute(folder, unreachable);
    while (place.has_relative_path() && !fs::exists(fs::symlink_status(place, unreachable))) {
        place = place.parent_path();
    }
    return place.string();
}

std::size_t LongestNameIn(const std::string& folder) {
    const long longest = ::pathconf(FolderThatIsThere(folder.empty() ? "." : folder).c_str(), _PC_NAME_MAX);
    return longest > 0 ? static_cast<std::size_t>(longest) : 0;
}

std::vector<std::string> FoldersToWrite(const ImageRun& run, const FilePlan& plan) {
    std::vector<std::string> folders;
    const std::optional<std::string> output = run.written.empty() ? std::nullopt : run.places.output;
    for (const auto& folder : {output, run.places.stages}) {
        if (folder) folders.push_back(*folder);
    }
    std::set<wxString> subfolders;
    for (std::size_t i = 0; i < plan.Count(); ++i) {
        const wxString subfolder = plan.Files(i).subfolder;
        if (subfolder.empty() || !subfolders.insert(subfolder).second) continue;
        for (const auto& folder : {output, run.places.stages}) {
            if (folder) folders.push_back(PathBytes(*FolderFor(folder, subfolder)));
        }
    }
    return folders;
}

void MakeFolders(const std::vector<std::string>& folders) {
    for (const std::string& folder : folders) {
        std::error_code failure;
        fs::create_directories(folder, failure);
        if (failure) RefuseToMake(folder, failure.message());
        RequireWritable(folder);
    }
}

void RequireFoldersCanBe(const std::vector<std::string>& folders) {
    for (const std::string& folder : folders) {
        std::error_code unreachable;
        if (fs::exists(folder, unreachable)) {
            RequireWritable(folder);
            continue;
        }
        const std::string place = FolderThatIsThere(folder);
        if (!fs::is_directory(place, unreachable)) RefuseToMake(folder, "'" + place + "' is no folder");
        if (::access(place.c_str(), W_OK | X_OK) != 0) RefuseToMake(folder, std::generic_category().message(errno));
        RequireNamesFit(folder, place);
    }
}

bool WouldBeMade(const std::string& folder, const std::vector<std::string>& folders) {
    std::error_code unreachable;
    if (fs::exists(folder, unreachable)) return false;
    const fs::path wanted = fs::weakly_canonical(fs::absolute(folder, unreachable), unreachable);
    return std::any_of(folders.begin(), folders.end(), [&](const std::string& made) {
        const fs::path path = fs::weakly_canonical(fs::absolute(made, unreachable), unreachable);
        return std::mismatch(wanted.begin(), wanted.end(), path.begin(), path.end()).first == wanted.end();
    });
}

}  // namespace Korvane

#include "KnownLabels.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <system_error>
#include <utility>

#include "PathText.h"
#include "RecordLog.h"
#include "ResultFiles.h"
#include "ToolkitError.h"

namespace Korvane {

namespace {

namespace fs = std::filesystem;

bool HasRecord(const std::string& folder) {
    std::error_code unreachable;
    return fs::exists(folder + "/" + kRecordName, unreachable);
}

bool IsLabelFile(const fs::path& path) { return path.filename().string().rfind(kLabelsPrefix, 0) == 0; }

struct FolderTree {
    std::vector<std::string> recorded;  // folders, in natural order
    bool hasLabels = false;
};

FolderTree LookThrough(const std::string& tree, Subfolders subfolders) {
    FolderTree found;
    if (HasRecord(tree)) found.recorded.push_back(tree);
    if (!found.recorded.empty() && subfolders == Subfolders::kPassedOver) return found;
    std::error_code failure;
    fs::recursive_directory_iterator entry(tree, failure);
    for (; !failure && entry != fs::recursive_directory_iterator(); entry.increment(failure)) {
        std::error_code unreachable;
        if (entry->is_symlink(unreachable) || !entry->is_directory(unreachable)) {
            found.hasLabels = found.hasLabels || IsLabelFile(entry->path());
        } else if (subfolders == Subfolders::kPassedOver) {
            entry.disable_recursion_pending();
        } else if (HasRecord(entry->path().string())) {
            found.recorded.push_back(entry->path().string());
        }
    }
    if (failure) throw qvox::ToolkitError("The folder '" + tree + "' cannot be read: " + failure.message() + ".");
    std::sort(found.recorded.begin(), found.recorded.end(), NaturalLess);
    return found;
}

}  // namespace

KnownLabels::KnownLabels(const std::vector<std::string>& recordFolders, std::vector<std::string> labelFolders)
    : records_(recordFolders), labelFolders_(std::move(labelFolders)) {}

std::string KnownLabels::UnrecordedFile(const std::string& image) const {
    const std::size_t nameAt = image.rfind('/') + 1;
    const std::string name = kLabelsPrefix + image.substr(nameAt);
    // From the whole path to the name alone.
    for (std::size_t at = 0; at != std::string::npos; at = at < nameAt ? image.find('/', at + 1) : std::string::npos) {
        const std::string subfolder = image.substr(at, nameAt - at);
        for (const std::string& folder : labelFolders_) {
            std::string file = folder + "/" + PathBytes(wxString::FromUTF8(subfolder + name));
            std::error_code unreachable;
            if (fs::is_regular_file(file, unreachable) && !records_.TellOf(file)) return file;
        }
    }
    return "";
}

bool KnownLabels::AreThere(const std::string& image) const {
    const MergedRecords::Fact* const fact = records_.Of(image);
    return (fact != nullptr && fact->madeLabels) || !UnrecordedFile(image).empty();
}

bool KnownLabels::HasNoObject(const std::string& image) const {
    const MergedRecords::Fact* const fact = records_.Of(image);
    if (fact != nullptr && fact->madeLabels && (!fact->hasObjects || records_.WereEmptied(*fact))) return true;
    const std::string unrecorded = UnrecordedFile(image);
    return !unrecorded.empty() && HasNoLabels(unrecorded);
}

std::string KnownLabels::MissingText(const std::string& image) const {
    const std::string missing = "'" + image + "' is missing";
    const std::string unrecorded = UnrecordedFile(image);
    if (!unrecorded.empty()) return missing + ", although it has labels: '" + PathText(unrecorded).utf8_string() + "'.";
    const MergedRecords::Fact* const fact = records_.Of(image);
    if (fact == nullptr) return missing + ": no record tells of its labels.";
    const RecordEntry entry = records_.Entry(*fact);
    if (!entry.error.empty()) return missing + ": it failed. " + entry.error;
    return missing + (fact->madeLabels ? ", although its labels were made." : ": its labels were not made.");
}

std::vector<std::string> RecordFolders(const std::vector<std::string>& folders, Subfolders subfolders) {
    std::vector<std::string> found;
    for (const std::string& tree : folders) {
        const FolderTree looked = LookThrough(tree, subfolders);
        if (looked.recorded.empty() && !looked.hasLabels) {
            throw qvox::ToolkitError("The folder '" + tree + "' holds neither labels nor a record of any.");
        }
        for (const std::string& folder : looked.recorded) {
            if (std::find(found.begin(), found.end(), folder) == found.end()) found.push_back(folder);
        }
    }
    return found;
}

bool HasRecords(const std::string& folder, Subfolders subfolders) {
    return !LookThrough(folder, subfolders).recorded.empty();
}

}  // namespace Korvane

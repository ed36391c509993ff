#include "MergedRecordTree.h"

#include "PathText.h"
#include "RecordLog.h"
#include "RunFolders.h"

namespace Korvane {

namespace {

std::string Below(const std::string& folder, const std::string& subfolder) {
    return subfolder.empty() ? folder : folder + "/" + subfolder;
}

/// How a folder that was found below another one is called there.
std::string SubfolderOf(const std::string& folder, const std::string& found) {
    const std::size_t first = found.find_first_not_of('/', folder.size());
    return first == std::string::npos ? "" : found.substr(first);
}

}  // namespace

MergedRecordTree::Groups MergedRecordTree::GroupsOf(const std::vector<std::string>& parts, Subfolders subfolders) {
    Groups groups;
    for (const std::string& part : parts) {
        for (const std::string& folder : RecordFolders({part}, Subfolders::kEntered)) {
            const std::string subfolder = SubfolderOf(part, folder);
            if (!subfolder.empty() && subfolders == Subfolders::kPassedOver) {
                throw UsageError("The record of '" + folder + "' would be left out: --recursive takes those of " +
                                 "subfolders.");
            }
            groups[subfolder].push_back(folder);
        }
    }
    return groups;
}

std::vector<std::string> MergedRecordTree::FoldersOf(const Groups& groups) {
    std::vector<std::string> folders;
    for (const auto& [subfolder, some] : groups) folders.insert(folders.end(), some.begin(), some.end());
    return folders;
}

MergedRecordTree::MergedRecordTree(const std::vector<std::string>& parts, Subfolders subfolders,
                                   MergeProblems& problems)
    : groups_(GroupsOf(parts, subfolders)), known_(FoldersOf(groups_), parts) {
    // Label files of different subfolders may have one name.
    ForEachGroup([&](const std::string&, const MergedRecords& records) { records.RequireDistinct(problems); });
    known_.Records().RequireOneWay(problems);
}

void MergedRecordTree::RequireAllImages(const ImageListing& listing, MergeProblems& problems) const {
    for (const std::string& path : listing.images) {
        const std::string image = PathText(path).utf8_string();
        if (!known_.AreThere(image)) problems.Add("are missing", known_.MissingText(image));
    }
}

std::vector<std::string> MergedRecordTree::Targets(const std::string& folder) const {
    std::vector<std::string> targets;
    for (const auto& [subfolder, folders] : groups_) targets.push_back(Below(folder, subfolder) + "/" + kRecordName);
    return targets;
}

void MergedRecordTree::Write(const std::string& folder) const {
    ForEachGroup([&](const std::string& subfolder, const MergedRecords& records) {
        MakeFolders({Below(folder, subfolder)});
        records.Write(Below(folder, subfolder));
    });
}

}  // namespace Korvane

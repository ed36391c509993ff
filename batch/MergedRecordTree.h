#pragma once

#include <map>
#include <string>
#include <vector>

#include "ImageList.h"
#include "KnownLabels.h"
#include "MergeProblems.h"
#include "MergedRecords.h"

namespace Korvane {

/// Records of folders of labels, and where they are entered of their subfolders, to be written below one folder.
class MergedRecordTree {
public:
    /// Throws UsageError for a subfolder whose record would be left out, ToolkitError for a folder without any record.
    /// Problems are images and label files that come twice, and labels that were made in different ways.
    MergedRecordTree(const std::vector<std::string>& parts, Subfolders subfolders, MergeProblems& problems);

    /// A text for each record of which lines cannot be read.
    const std::vector<std::string>& Damages() const { return known_.Records().Damages(); }
    /// Problems are images of whose labels nothing is known.
    void RequireAllImages(const ImageListing& listing, MergeProblems& problems) const;
    /// The records that Write writes.
    std::vector<std::string> Targets(const std::string& folder) const;
    /// Writes into the folder and its subfolders, which are made. Throws UsageError and ToolkitError.
    void Write(const std::string& folder) const;

private:
    /// Subfolder and the folders of the parts that have it.
    using Groups = std::map<std::string, std::vector<std::string>>;

    /// The records of one subfolder after the other. Those of the only one are held already.
    template <typename Look>
    void ForEachGroup(Look look) const {
        for (const auto& [subfolder, folders] : groups_) {
            if (groups_.size() == 1) {
                look(subfolder, known_.Records());
            } else {
                look(subfolder, MergedRecords(folders));
            }
        }
    }
    static Groups GroupsOf(const std::vector<std::string>& parts, Subfolders subfolders);
    static std::vector<std::string> FoldersOf(const Groups& groups);

    Groups groups_;
    KnownLabels known_;
};

}  // namespace Korvane

#pragma once

#include <string>
#include <vector>

#include "InputList.h"
#include "MergedRecords.h"

namespace Korvane {

/// What is known of labels that were made elsewhere: the records of folders, and label files of which none of them
/// tells, drawn by hand or taken from another program. Image paths are UTF-8.
class KnownLabels {
public:
    /// Label files are looked for in the last folders, and in their subfolders that mirror those of the images.
    /// Throws ToolkitError for a folder of records without one.
    KnownLabels(const std::vector<std::string>& recordFolders, std::vector<std::string> labelFolders);
    KnownLabels(const KnownLabels&) = delete;
    KnownLabels& operator=(const KnownLabels&) = delete;

    const MergedRecords& Records() const { return records_; }
    /// The image's label file of which no record tells, that of the deepest subfolder; empty where there is none. Costs
    /// a look at the file system for each folder of the image's path.
    std::string UnrecordedFile(const std::string& image) const;
    /// True where the image's labels were made, or drawn.
    bool AreThere(const std::string& image) const;
    /// True of an image that has labels, and no object.
    bool HasNoObject(const std::string& image) const;
    /// Says why an image is missing, as far as this is known.
    std::string MissingText(const std::string& image) const;

private:
    MergedRecords records_;
    std::vector<std::string> labelFolders_;
};

/// The folders, and where they are entered their subfolders, that have a record, in natural order and each once. Links
/// to folders are not followed. Throws ToolkitError for a folder with neither a record nor a label file.
std::vector<std::string> RecordFolders(const std::vector<std::string>& folders, Subfolders subfolders);

/// True of a folder that has a record, or where they are entered of one with a subfolder that has.
bool HasRecords(const std::string& folder, Subfolders subfolders);

}  // namespace Korvane

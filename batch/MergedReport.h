#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "FolderLock.h"
#include "ImageList.h"
#include "MergeProblems.h"
#include "Progress.h"
#include "ReportBuilder.h"
#include "ReportPart.h"

namespace Korvane {

/// Parts of a report, to be written as one. Of an image a number is held.
class MergedReport {
public:
    /// Reads the parts in folders. Throws ToolkitError for those that cannot be read or are not of one report, or of
    /// another version of the program. Problems are images that two parts have.
    MergedReport(std::vector<std::string> folders, MergeProblems& problems);

    /// Adds a problem for each image that no part has, and where images are not those of the listing, if there is one.
    void RequireAllImages(const std::optional<ImageListing>& listing, MergeProblems& problems) const;

    /// Writes it under the lock of the folder. False when it could not be written, after that was said. Throws
    /// UsageError where a report is not to be replaced, and ToolkitError.
    bool Write(const std::string& folder, const FolderLock& lock, ExistingReport existing, Progress& progress) const;

private:
    std::vector<std::string> folders_;
    ReportPartHead head_;
    std::vector<std::uint32_t> partOf_;  // by place; the number of parts: none
    std::vector<std::uint64_t> keys_;    // of the paths, by place
};

}  // namespace Korvane

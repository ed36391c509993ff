#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "MergeProblems.h"
#include "RecordEntry.h"

namespace Korvane {

/// What the records of folders tell of images. Of an entry little more than its place is held.
class MergedRecords {
public:
    /// Reads the records of folders, in this order. Throws ToolkitError for a folder without one.
    explicit MergedRecords(std::vector<std::string> folders);

    /// One label file, or the attempt to make it: the newest entry that made labels, else the newest.
    struct Fact {
        std::uint64_t image;   ///< key of its path
        std::uint64_t labels;  ///< key of the label file's name
        std::uint64_t offset;  ///< of the line in its record
        std::uint32_t folder;
        bool madeLabels;
        bool hasObjects;
    };
    /// In the order of the records' lines.
    const std::vector<Fact>& Facts() const { return facts_; }
    /// The fact about an image; null where there is none. Where images were moved after they were recorded, that of the
    /// image that is no longer there and whose path ends as this one, in more folders than any other.
    const Fact* Of(const std::string& imagePath) const;
    RecordEntry Entry(const Fact& fact) const;
    /// True of labels that were made with objects and corrected since so that none is left.
    bool WereEmptied(const Fact& fact) const;
    /// True of a label file that a folder's record says was made.
    bool TellOf(const std::string& labelsPath) const;
    const std::vector<std::string>& Folders() const { return folders_; }
    /// A text for each record of which lines cannot be read.
    const std::vector<std::string>& Damages() const { return damages_; }

    /// Adds a problem for each image whose labels were made in another way than the first one's: command, parameters,
    /// preparation, version. Labels that were corrected since are passed over.
    void RequireOneWay(MergeProblems& problems) const;
    /// Adds a problem for each image, and each label file, that two folders have.
    void RequireDistinct(MergeProblems& problems) const;
    /// Writes the entries of all folders, as they are, into the record of another one. Throws ToolkitError.
    void Write(const std::string& folder) const;

private:
    using Places = std::vector<std::pair<std::uint64_t, std::uint32_t>>;  // key and place of the fact, sorted

    const Fact* OfMoved(const std::string& imagePath) const;
    const Places& ByLabels() const;

    std::vector<std::string> folders_;
    std::vector<Fact> facts_;
    std::vector<std::string> damages_;
    Places byImage_;
    mutable Places byLabels_;  // filled when an image was moved or has no fact
};

/// True of a label file that can be read and has no label.
bool HasNoLabels(const std::string& labelsPath);

}  // namespace Korvane

#pragma once

#include <optional>
#include <string>
#include <vector>

#include <wx/string.h>

#include "CommandTable.h"
#include "ComparisonReport.h"
#include "OptionGroups.h"
#include "OutputPlace.h"
#include "Progress.h"
#include "RunEnd.h"
#include "TableOptions.h"

namespace Korvane {

/// What a comparison writes for all images together.
struct ComparisonPlaces {
    std::optional<std::string> csv;
    std::optional<std::string> objects;
    std::optional<std::string> json;
    std::optional<std::string> figure;  ///< folder
    ExistingLabels existing = ExistingLabels::kSkip;
    PartialTable partial = PartialTable::kKeepOld;  ///< when images failed
};

class ComparisonFiles {
public:
    /// Finds out before any work whether all can be written. Throws UsageError.
    explicit ComparisonFiles(const ComparisonPlaces& places);

    /// True where the standard output is for one of the files.
    bool TakesOutput() const;
    /// Paths of the files, without streams and devices.
    std::vector<std::string> SingleFiles() const;
    /// Paths of files, devices and the folder.
    std::vector<wxString> Paths() const;

    /// Writes all. Where a file has to stay, since another program has made it meanwhile, or images failed, no other is
    /// written: files side by side that are of two comparisons could be taken for those of one. Says what is not
    /// written, and returns false then.
    bool Write(const ComparisonReport& report, const RunEnd& end, const Streams& streams, Progress& progress) const;

private:
    struct File {
        OutputPlace place;
        std::string (*text)(const ComparisonReport& report);
    };
    void RequireDistinct() const;
    std::vector<std::string> Folders() const;
    /// Which files stay, and why, in sentences; empty: none.
    std::vector<wxString> WhyKept(const RunEnd& end) const;

    ComparisonPlaces places_;
    std::vector<File> files_;
};

}  // namespace Korvane

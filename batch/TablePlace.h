#pragma once

#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include <wx/string.h>

#include "OutputPlace.h"
#include "RowSpool.h"
#include "RunEnd.h"
#include "TableOptions.h"

namespace Korvane {

/// A table that a run makes.
struct TableContents {
    const char* name;                 ///< "measurement table"
    const char* likeIt;               ///< what has its header: "measurement table", or more of it
    std::optional<std::string> path;  ///< as the person gave it
    std::string header;               ///< with the end of its line
};

/// Where a table of a run goes.
class TablePlace {
public:
    /// Finds out before any work whether the table can be written there. Throws UsageError when it cannot, when a table
    /// is there and the rules give no leave to change it, or when --append finds another table or something else there.
    /// Folders that will be there when the table is written count as if they were.
    TablePlace(const TableContents& contents, const TableRules& rules, OutputKind withoutPath,
               const std::vector<std::string>& foldersToBe);

    OutputKind Kind() const { return place_.Kind(); }
    /// Of the file or device; empty where there is none.
    std::string Path() const { return place_.Path(); }
    /// Where rows can be kept until the table is written.
    std::string SpoolFolder() const;

    /// Writes header and rows. A file is complete or as it was before; when images failed or had no labels, an existing
    /// one stays as it was unless the rules say otherwise. Returns the text of the failure, empty when there is none.
    wxString Write(RowSpool& rows, const RunEnd& end, std::FILE* output) const;

private:
    void RequireLeave() const;
    void RequireOwnHeader() const;
    wxString WhyKept(const RunEnd& end) const;
    void PutTable(RowSpool& rows, const PutOutput& put) const;

    wxString Missing(const wxString& cause) const;

    std::string name_;
    std::string likeIt_;
    std::string header_;
    TableRules rules_;
    OutputPlace place_;
};

}  // namespace Korvane

#pragma once

#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include <wx/string.h>

#include "RowSpool.h"
#include "TableOptions.h"

namespace Korvane {

enum class TableKind {
    kNone,
    kStream,  ///< the standard output
    kDevice,  ///< a terminal, a pipe, an open descriptor: written to, never replaced
    kFile,
};

/// The outcome of a run's images, as writing the table needs it.
struct TableRun {
    std::size_t images = 0;
    std::size_t failed = 0;
    bool hasFailed = false;  ///< failed images, or none that could be worked on
};

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
    TablePlace(const TableContents& contents, const TableRules& rules, TableKind withoutPath,
               const std::vector<std::string>& foldersToBe);

    TableKind Kind() const { return kind_; }
    /// Of the file or device; empty where there is none.
    std::string Path() const { return kind_ == TableKind::kFile || kind_ == TableKind::kDevice ? path_ : ""; }
    /// Where rows can be kept until the table is written.
    std::string SpoolFolder() const;

    /// Writes header and rows. A file is complete or as it was before; when images failed, an existing one stays as it
    /// was unless the rules say otherwise. Returns the text of the failure, empty when there is none.
    wxString Write(RowSpool& rows, const TableRun& run, std::FILE* output) const;

private:
    void RequireFile(const std::vector<std::string>& foldersToBe) const;
    void RequireOwnHeader() const;
    bool IsThere() const;
    wxString WriteFile(RowSpool& rows) const;
    wxString WriteDevice(RowSpool& rows) const;

    wxString Missing(const wxString& cause) const;

    std::string name_;
    std::string likeIt_;
    std::string header_;
    std::string given_;  // as the person gave it
    std::string path_;
    TableRules rules_;
    TableKind kind_;
};

}  // namespace Korvane

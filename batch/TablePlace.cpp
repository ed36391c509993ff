#include "TablePlace.h"

#include <exception>
#include <filesystem>
#include <fstream>
#include <optional>
#include <system_error>
#include <vector>

#include "ExceptionText.h"
#include "FolderLock.h"
#include "PathText.h"
#include "ToolkitError.h"

namespace Korvane {

namespace {

namespace fs = std::filesystem;

/// The contents that --append finds in the file, with the end of its last line.
void CopyTable(const std::string& path, const PutOutput& put) {
    std::ifstream old(path, std::ios::binary);
    std::vector<char> piece(std::size_t{1} << 18);
    char last = '\n';
    while (old.read(piece.data(), static_cast<std::streamsize>(piece.size())) || old.gcount() > 0) {
        const auto count = static_cast<std::size_t>(old.gcount());
        if (!put(std::string(piece.data(), count))) return;
        last = piece[count - 1];
    }
    if (!old.eof()) throw qvox::ToolkitError("Cannot read '" + path + "'.");
    if (last != '\n') put("\n");
}

std::string WithoutEnd(std::string line) {
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
    return line;
}

}  // namespace

TablePlace::TablePlace(const TableContents& contents, const TableRules& rules, OutputKind withoutPath,
                       const std::vector<std::string>& foldersToBe)
    : name_(contents.name),
      likeIt_(contents.likeIt),
      header_(contents.header),
      rules_(rules),
      place_(contents.path ? OutputPlace("table", *contents.path) : OutputPlace(withoutPath)) {
    place_.RequireWritable(foldersToBe);
    // An empty file holds nothing that could be lost.
    if (place_.HasContents()) RequireLeave();
}

wxString TablePlace::Missing(const wxString& cause) const { return "The " + name_ + " is missing! (" + cause + ")"; }

void TablePlace::RequireLeave() const {
    if (rules_.existing == ExistingTable::kRefuse) {
        throw UsageError("The table '" + place_.Given() +
                         "' exists already: --overwrite-table replaces it, --append adds rows to it.");
    }
    if (rules_.existing == ExistingTable::kAppend) RequireOwnHeader();
}

void TablePlace::RequireOwnHeader() const {
    std::ifstream file(place_.Path(), std::ios::binary);
    std::string line;
    std::getline(file, line);
    if (WithoutEnd(line) == WithoutEnd(header_)) return;
    throw UsageError("The table '" + place_.Given() + "' does not begin with the header of a " + likeIt_ +
                     ": rows are not added to it.");
}

std::string TablePlace::SpoolFolder() const {
    if (place_.IsFile()) return fs::path(place_.Path()).parent_path().string();
    std::error_code failure;
    const fs::path folder = fs::temp_directory_path(failure);
    return failure ? std::string("/tmp") : folder.string();
}

wxString TablePlace::Write(RowSpool& rows, const RunEnd& end, std::FILE* output) const {
    try {
        std::optional<FolderLock> lock;
        if (place_.IsFile()) lock.emplace(std::vector<std::string>{FolderOfFile(place_.Path())});
        const wxString kept = WhyKept(end);
        if (!kept.empty()) return kept;
        place_.Write(output, [&](const PutOutput& put) { PutTable(rows, put); });
        return wxString();
    } catch (const StreamError& error) {
        const wxString cause = PathText(error.Cause());
        if (place_.Kind() == OutputKind::kStream) {
            return "Cannot write the " + name_ + " to the standard output! (" + cause + ")";
        }
        return Missing("Cannot write to '" + PathText(place_.Given()) + "': " + cause);
    } catch (...) {
        return Missing(ExceptionText(std::current_exception()));
    }
}

/// Under the lock of the folder. Empty where the table may be written.
wxString TablePlace::WhyKept(const RunEnd& end) const {
    if (!place_.HasContents()) return wxString();
    const wxString path = PathText(place_.Path());
    if (rules_.existing == ExistingTable::kRefuse) {
        return Missing("'" + path + "' was made by another program meanwhile and is kept");
    }
    const wxString without = end.ImagesWithoutRows();
    if (without.empty() || rules_.partial == PartialTable::kWrite) return wxString();
    const bool adds = rules_.existing == ExistingTable::kAppend;
    return "The " + name_ + " '" + path + "' is kept as it was: " + without + ". --partial-table " +
           (adds ? "adds" : "writes") + " the rows of the others.";
}

void TablePlace::PutTable(RowSpool& rows, const PutOutput& put) const {
    if (rules_.existing == ExistingTable::kAppend && place_.HasContents()) {
        CopyTable(place_.Path(), put);
    } else if (!put(header_)) {
        return;
    }
    rows.Copy(put);
}

}  // namespace Korvane

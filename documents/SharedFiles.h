#pragma once

#include <map>
#include <vector>

#include <wx/string.h>

namespace Korvane {

/// Where a path leads to in the end. Two paths that differ may be one file through a link.
wxString PlaceOf(const wxString& path);

/// PlaceOf for many files: looks at each folder once, and of a file only whether it is a link.
class PlaceFinder {
public:
    wxString Of(const wxString& path);
    /// The same without a look at the file: as if it were no link.
    wxString OfName(const wxString& path);

private:
    std::map<wxString, wxString> folders_;
};

/// The use that is made of the files that belong to inputs.
enum class FileUse {
    kWrite,
    kRead,  ///< two paths of one input may share a file
};

/// "'A' and 'B' would both be written to 'F'" (or "would both be read from 'F'") of the first two inputs whose files
/// are one file; empty when each has its own. files[i] belongs to inputs[i]. Links are followed before paths are
/// compared.
wxString SharedFileText(const std::vector<wxString>& inputs, const std::vector<wxString>& files, FileUse use);

}  // namespace Korvane

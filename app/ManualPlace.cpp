#include "ManualPlace.h"

#include <wx/filename.h>

namespace Korvane {

namespace {

/// The path without its dots; empty where no such file exists.
wxString ExistingFile(const wxString& path) {
    wxFileName file(path);
    if (!file.Normalize(wxPATH_NORM_DOTS | wxPATH_NORM_ABSOLUTE) || !file.FileExists()) return wxEmptyString;
    return file.GetFullPath();
}

}  // namespace

ManualPlace FindManual(const wxString& programFolder) {
    const wxString installed(KORVANE_MANUAL);
    const wxString folder = wxIsAbsolutePath(installed) ? installed : programFolder + "/../" + installed;
    ManualPlace place;
    place.page = ExistingFile(folder + "/html/manual.html");
    if (place.page.empty()) place.text = ExistingFile(folder + "/MANUAL.md");
    return place;
}

}  // namespace Korvane

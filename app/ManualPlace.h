#pragma once

#include <wx/string.h>

namespace Korvane {

/// The manual that lies beside a program, as the full path of its first page; at most one of the two is there.
struct ManualPlace {
    wxString page;  ///< HTML, for a browser; empty where it was not made
    wxString text;  ///< the document it is made from, which stands in for the page; empty where there is neither
};

/// Looks from the folder of the program, so that an installation can be moved; a build folder is laid out alike. The
/// programs hold no other path.
ManualPlace FindManual(const wxString& programFolder);

}  // namespace Korvane

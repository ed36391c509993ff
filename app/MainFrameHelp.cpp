#include <wx/aboutdlg.h>
#include <wx/filename.h>
#include <wx/filesys.h>
#include <wx/stdpaths.h>

#include "CommandTable.h"
#include "ControlsDialog.h"
#include "MainFrame.h"
#include "ProgramIcon.h"

namespace Korvane {

namespace {

/// The address of the manual: beside the program as installed, or where the program was built. Empty where neither is.
wxString ManualAddress() {
    const wxString program = wxFileName(wxStandardPaths::Get().GetExecutablePath()).GetPath();
    for (const wxString& place : {program + "/../" KORVANE_INSTALLED_MANUAL, wxString(KORVANE_BUILT_MANUAL)}) {
        wxFileName manual(place);
        if (manual.Normalize(wxPATH_NORM_DOTS) && manual.FileExists()) return wxFileSystem::FileNameToURL(manual);
    }
    return wxEmptyString;
}

}  // namespace

void MainFrame::OnHelp(wxCommandEvent& event) {
    if (event.GetId() == kAbout) {
        wxAboutDialogInfo about;
        about.SetName("TEM Korvane (Built " __DATE__ ")");
        // There is no page on the web, and an address that leads nowhere helps nobody: the manual is the page.
        if (const wxString manual = ManualAddress(); !manual.empty()) about.SetWebSite(manual, "Manual");
        about.SetCopyright("Made by the Korvane developers");
        about.SetIcon(ProgramIcons().GetIcon(wxSize(64, 64)));
        wxAboutBox(about, this);
    } else if (event.GetId() == kControls) {
        ControlsDialog dialog(this);
        dialog.ShowModal();
    }
}

}  // namespace Korvane

#include <wx/aboutdlg.h>
#include <wx/filename.h>
#include <wx/filesys.h>
#include <wx/stdpaths.h>

#include "BuildDate.h"
#include "CommandTable.h"
#include "ControlsDialog.h"
#include "MainFrame.h"
#include "ProgramIcon.h"

namespace Korvane {

namespace {

/// The address of the manual that lies beside the program; empty where there is none.
wxString ManualAddress() {
    wxFileName manual(wxFileName(wxStandardPaths::Get().GetExecutablePath()).GetPath() + "/../" KORVANE_MANUAL);
    if (!manual.Normalize(wxPATH_NORM_DOTS) || !manual.FileExists()) return wxEmptyString;
    return wxFileSystem::FileNameToURL(manual);
}

}  // namespace

void MainFrame::OnHelp(wxCommandEvent& event) {
    if (event.GetId() == kAbout) {
        wxAboutDialogInfo about;
        about.SetName(wxString("TEM Korvane (Built ") + BuildDate() + ")");
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

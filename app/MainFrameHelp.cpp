#include <wx/aboutdlg.h>
#include <wx/filename.h>
#include <wx/filesys.h>
#include <wx/stdpaths.h>

#include "BuildDate.h"
#include "CommandTable.h"
#include "ControlsDialog.h"
#include "MainFrame.h"
#include "ManualPlace.h"
#include "ProgramIcon.h"
#include "ProgramVersion.h"

namespace Korvane {

void MainFrame::OnHelp(wxCommandEvent& event) {
    if (event.GetId() == kAbout) {
        wxAboutDialogInfo about;
        about.SetName(wxString("TEM Korvane (Built ") + BuildDate() + ")");
        about.SetVersion(VersionText());
        // There is no page on the web, and an address that leads nowhere helps nobody: the manual is the page.
        const wxFileName program(wxStandardPaths::Get().GetExecutablePath());
        const ManualPlace manual = FindManual(program.GetPath());
        if (!manual.page.empty()) {
            about.SetWebSite(wxFileSystem::FileNameToURL(manual.page), "Manual");
        } else if (!manual.text.empty()) {
            about.SetDescription("The manual is " + manual.text);
        }
        about.SetCopyright("Made by the Korvane developers");
        about.SetIcon(ProgramIcons().GetIcon(wxSize(64, 64)));
        wxAboutBox(about, this);
    } else if (event.GetId() == kControls) {
        ControlsDialog dialog(this);
        dialog.ShowModal();
    }
}

}  // namespace Korvane

#include <wx/aboutdlg.h>

#include "CommandTable.h"
#include "ControlsDialog.h"
#include "MainFrame.h"

namespace Korvane {

void MainFrame::OnHelp(wxCommandEvent& event) {
    if (event.GetId() == kAbout) {
        wxAboutDialogInfo about;
        about.SetName("TEM Korvane (Built " __DATE__ ")");
        about.SetWebSite("https://korvane.example/");
        about.SetCopyright("Made by the Korvane developers");
        wxAboutBox(about, this);
    } else if (event.GetId() == kControls) {
        ControlsDialog dialog(this);
        dialog.ShowModal();
    }
}

}  // namespace Korvane

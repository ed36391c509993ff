#pragma once

#include <wx/dialog.h>

namespace Korvane {

/// The list of what mouse and keyboard do beside the menus.
class ControlsDialog : public wxDialog {
public:
    explicit ControlsDialog(wxWindow* parent);
};

}  // namespace Korvane

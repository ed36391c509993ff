#include "ControlsDialog.h"

#include <vector>

#include <wx/button.h>
#include <wx/sizer.h>
#include <wx/statbox.h>
#include <wx/stattext.h>

namespace Korvane {

namespace {

constexpr int kBorder = 5;

struct Control {
    const char* control;
    const char* description;
};

const std::vector<Control> kMouse{
    {"Left button:", "Draw using the current label"},
    {"Right button:", "Select as the current label"},
    {"Wheel:", "Zoom"},
};

const std::vector<Control> kKeyboard{
    {"PgDown:", "Move to the next position"},
    {"PgUp:", "Move to the previous position"},
    {"Home:", "Move to the first position"},
    {"End:", "Move to the last position"},
    {"R:", "Repaint component using the current label"},
    {"Backspace:", "Undo the previous action"},
    {"Arrows:", "Move visible image area"},
    {"+/-:", "Zoom in/out"},
    {"0:", "Reset zoom"},
};

wxSizer* MakeGroup(wxWindow* parent, const char* title, const std::vector<Control>& controls) {
    auto* group = new wxStaticBoxSizer(wxVERTICAL, parent, title);
    auto* grid = new wxFlexGridSizer(2, 0, 0);
    for (const Control& control : controls) {
        for (const char* text : {control.control, control.description}) {
            grid->Add(new wxStaticText(group->GetStaticBox(), wxID_ANY, text), 0, wxALL | wxALIGN_CENTER_VERTICAL,
                      kBorder);
        }
    }
    group->Add(grid);
    return group;
}

}  // namespace

ControlsDialog::ControlsDialog(wxWindow* parent) : wxDialog(parent, wxID_ANY, "Controls") {
    auto* all = new wxBoxSizer(wxVERTICAL);
    all->Add(MakeGroup(this, "Mouse", kMouse), 0, wxEXPAND | wxALL, kBorder);
    all->Add(MakeGroup(this, "Keyboard", kKeyboard), 0, wxEXPAND | wxALL, kBorder);
    auto* ok = new wxButton(this, wxID_OK, "OK");
    all->Add(ok, 0, wxALIGN_CENTER_HORIZONTAL | wxALL, kBorder);
    ok->SetDefault();
    // Escape closes it as well.
    SetEscapeId(wxID_OK);
    SetSizerAndFit(all);
}

}  // namespace Korvane

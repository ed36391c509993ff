#include "DlgParams.h"

#include <wx/button.h>
#include <wx/sizer.h>
#include <wx/statline.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

#include "ParameterValidator.h"

namespace Korvane {

namespace {

constexpr int kTextId = 10000;
constexpr int kLineId = 10004;
/// In the order of kParameterRanges.
constexpr std::array<int, kParameterRanges.size()> kFieldIds{10001, 10002, 10003, 10005, 10006, 10007};
constexpr std::size_t kRowsAboveLine = 5;
constexpr int kBorder = 5;
constexpr int kFieldWidth = 80;

}  // namespace

DlgParams::DlgParams(wxWindow* parent, const AnalysisParameters& parameters)
    : wxDialog(parent, wxID_ANY, "Parameters"), values_(parameters) {
    auto* all = new wxBoxSizer(wxVERTICAL);
    const auto addGrid = [&](std::size_t first, std::size_t end) {
        auto* grid = new wxFlexGridSizer(2, 0, 0);
        for (std::size_t row = first; row < end; ++row) AddRow(*grid, row);
        all->Add(grid, 0, wxALIGN_CENTER_HORIZONTAL | wxLEFT | wxTOP | wxBOTTOM, kBorder);
        AddLine(*all);
    };
    addGrid(0, kRowsAboveLine);
    addGrid(kRowsAboveLine, kParameterRanges.size());
    auto* buttons = new wxBoxSizer(wxHORIZONTAL);
    auto* ok = new wxButton(this, wxID_OK, "OK");
    buttons->Add(ok, 0, wxALL, kBorder);
    buttons->Add(new wxButton(this, wxID_CANCEL, "Cancel"), 0, wxALL, kBorder);
    all->Add(buttons, 0, wxALIGN_RIGHT);
    ok->SetDefault();
    SetSizerAndFit(all);
    for (std::size_t row = 0; row < kParameterRanges.size(); ++row) {
        const ParameterRange& range = kParameterRanges[row];
        fields_[row]->SetValidator(ParameterValidator(range, &(values_.*range.field)));
        fields_[row]->SetToolTip(RangeText(range));
    }
}

void DlgParams::AddRow(wxFlexGridSizer& grid, std::size_t row) {
    grid.Add(new wxStaticText(this, kTextId, kParameterRanges[row].label), 0,
             wxALIGN_RIGHT | wxALIGN_CENTER_VERTICAL | wxLEFT | wxTOP | wxBOTTOM, kBorder);
    fields_[row] = new wxTextCtrl(this, kFieldIds[row], wxEmptyString, wxDefaultPosition, wxSize(kFieldWidth, -1));
    grid.Add(fields_[row], 0, wxALIGN_CENTER | wxALL, kBorder);
}

void DlgParams::AddLine(wxSizer& sizer) {
    sizer.Add(new wxStaticLine(this, kLineId, wxDefaultPosition, wxDefaultSize, wxLI_HORIZONTAL), 0,
              wxEXPAND | wxLEFT | wxRIGHT | wxBOTTOM, kBorder);
}

}  // namespace Korvane

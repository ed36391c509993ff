#pragma once

#include <array>

#include <wx/dialog.h>

#include "AnalysisParameters.h"

class wxFlexGridSizer;
class wxTextCtrl;

namespace Korvane {

/// The dialog for the analysis parameters. It works on a copy, which Parameters() gives back after OK.
class DlgParams : public wxDialog {
public:
    DlgParams(wxWindow* parent, const AnalysisParameters& parameters);

    const AnalysisParameters& Parameters() const { return values_; }

private:
    void AddRow(wxFlexGridSizer& grid, std::size_t row);
    void AddLine(wxSizer& sizer);

    AnalysisParameters values_;
    std::array<wxTextCtrl*, kParameterRanges.size()> fields_{};
};

}  // namespace Korvane

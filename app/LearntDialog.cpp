#include "LearntDialog.h"

#include <algorithm>
#include <string>
#include <vector>

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

#include "TuningText.h"

namespace Korvane {

namespace {

constexpr int kBorder = 8;
constexpr int kWidth = 640;
constexpr int kMostTableLines = 14;
constexpr int kTextHeight = 230;

wxString Joined(const std::vector<std::string>& lines, const char* between) {
    wxString text;
    for (const std::string& line : lines) text += (text.empty() ? "" : between) + wxString::FromUTF8(line);
    return text;
}

wxString Explained(const TuningResult& result) {
    wxString text;
    for (const std::string& warning : TuningWarnings(result)) {
        text += "Warning: " + wxString::FromUTF8(warning) + "\n\n";
    }
    text += wxString::FromUTF8(VerdictText(result)) + "\n\n" + Joined(ParameterLines(result, {}), "\n") + "\n\n";
    return text +
           "Held out: with the parameters that were learnt from the other images. That is the score to expect of new "
           "images.";
}

wxString ValuesText(const AnalysisParameters& parameters) {
    wxString text = "Apply makes these the current parameters:";
    for (const ParameterRange& range : kParameterRanges) {
        if (range.field == &AnalysisParameters::edgeContrast) continue;
        text += wxString("\n    ") + range.label + " " +
                wxString::FromCDouble(static_cast<double>(parameters.*range.field), range.decimals);
    }
    return text;
}

wxTextCtrl* ReadOnly(wxWindow* parent, const wxString& text, int height, long wrapping) {
    return new wxTextCtrl(parent, wxID_ANY, text, wxDefaultPosition, parent->FromDIP(wxSize(kWidth, height)),
                          wxTE_MULTILINE | wxTE_READONLY | wrapping);
}

}  // namespace

LearntDialog::LearntDialog(wxWindow* parent, const TuningResult& result)
    : wxDialog(parent, wxID_ANY, "Learnt parameters", wxDefaultPosition, wxDefaultSize,
               wxDEFAULT_DIALOG_STYLE | wxRESIZE_BORDER),
      result_(result) {
    auto* all = new wxBoxSizer(wxVERTICAL);
    const std::vector<std::string> scores = ScoreLines(result, {});
    auto* table = ReadOnly(this, Joined(scores, "\n"), kTextHeight, wxTE_DONTWRAP);
    table->SetFont(wxFont(wxFontInfo(GetFont().GetPointSize()).Family(wxFONTFAMILY_TELETYPE)));
    const int lines = std::min(static_cast<int>(scores.size()), kMostTableLines);
    table->SetInitialSize({FromDIP(kWidth), (lines + 2) * table->GetCharHeight()});
    all->Add(table, 0, wxEXPAND | wxALL, kBorder);
    all->Add(ReadOnly(this, Explained(result), kTextHeight, wxTE_BESTWRAP), 1, wxEXPAND | wxLEFT | wxRIGHT, kBorder);
    if (result.verdict != TuningVerdict::kTaken) {
        unproven_ = new wxCheckBox(this, wxID_ANY, "Learnt values although they are not proven better");
        unproven_->Bind(wxEVT_CHECKBOX, [this](wxCommandEvent&) { ShowParameters(); });
        all->Add(unproven_, 0, wxLEFT | wxRIGHT | wxTOP, kBorder);
    }
    values_ = new wxStaticText(this, wxID_ANY, ValuesText(Parameters()));
    all->Add(values_, 0, wxALL, kBorder);
    auto* buttons = new wxBoxSizer(wxHORIZONTAL);
    auto* apply = new wxButton(this, wxID_APPLY, "Apply");
    auto* close = new wxButton(this, wxID_CLOSE, "Close");
    buttons->Add(apply, 0, wxALL, kBorder);
    buttons->Add(close, 0, wxALL, kBorder);
    all->Add(buttons, 0, wxALIGN_RIGHT);
    SetAffirmativeId(wxID_APPLY);
    SetEscapeId(wxID_CLOSE);
    wxButton* const usual = result.verdict == TuningVerdict::kTaken ? apply : close;
    usual->SetDefault();
    SetSizerAndFit(all);
    usual->SetFocus();
    CentreOnParent();
}

const AnalysisParameters& LearntDialog::Parameters() const {
    return unproven_ != nullptr && unproven_->GetValue() ? result_.fitted : result_.chosen;
}

void LearntDialog::ShowParameters() { values_->SetLabel(ValuesText(Parameters())); }

}  // namespace Korvane

#include "LearnDialog.h"

#include <utility>

#include <wx/button.h>
#include <wx/checklst.h>
#include <wx/sizer.h>
#include <wx/spinctrl.h>
#include <wx/stattext.h>

#include "Tuning.h"

namespace Korvane {

namespace {

constexpr int kBorder = 8;
constexpr int kTextWidth = 520;
constexpr int kListHeight = 200;
constexpr int kMostEvaluations = 100000;

const char* const kExplanation =
    "Learn from the labels of these positions. They are taken as right: an object that is missing is learnt as none, "
    "and one that should not be there as an object. Corrected positions are ticked.";

wxStaticText* Wrapped(wxWindow* parent, const wxString& text) {
    auto* shown = new wxStaticText(parent, wxID_ANY, text);
    shown->Wrap(parent->FromDIP(kTextWidth));
    return shown;
}

}  // namespace

LearnDialog::LearnDialog(wxWindow* parent, std::vector<LearnChoice> choices, const wxString& note)
    : wxDialog(parent, wxID_ANY, "Learn parameters", wxDefaultPosition, wxDefaultSize,
               wxDEFAULT_DIALOG_STYLE | wxRESIZE_BORDER),
      choices_(std::move(choices)) {
    auto* all = new wxBoxSizer(wxVERTICAL);
    all->Add(Wrapped(this, kExplanation), 0, wxALL, kBorder);
    wxArrayString texts;
    for (const LearnChoice& choice : choices_) texts.Add(choice.text);
    list_ = new wxCheckListBox(this, wxID_ANY, wxDefaultPosition, FromDIP(wxSize(kTextWidth, kListHeight)), texts);
    for (std::size_t i = 0; i < choices_.size(); ++i) {
        list_->Check(static_cast<unsigned>(i), choices_[i].isTicked);
    }
    all->Add(list_, 1, wxEXPAND | wxLEFT | wxRIGHT, kBorder);
    if (!note.empty()) all->Add(Wrapped(this, note), 0, wxLEFT | wxRIGHT | wxTOP, kBorder);
    auto* row = new wxBoxSizer(wxHORIZONTAL);
    row->Add(new wxStaticText(this, wxID_ANY, "Combinations to try on each image:"), 0,
             wxALIGN_CENTER_VERTICAL | wxRIGHT, kBorder);
    evaluations_ =
        new wxSpinCtrl(this, wxID_ANY, wxEmptyString, wxDefaultPosition, wxDefaultSize, wxSP_ARROW_KEYS, 1,
                       kMostEvaluations, static_cast<int>(TuningOptions().evaluations));
    evaluations_->SetToolTip("More take longer and may find better parameters");
    row->Add(evaluations_);
    all->Add(row, 0, wxALL, kBorder);
    auto* buttons = new wxBoxSizer(wxHORIZONTAL);
    auto* learn = new wxButton(this, wxID_OK, "Learn");
    buttons->Add(learn, 0, wxALL, kBorder);
    buttons->Add(new wxButton(this, wxID_CANCEL, "Cancel"), 0, wxALL, kBorder);
    all->Add(buttons, 0, wxALIGN_RIGHT);
    learn->SetDefault();
    SetSizerAndFit(all);
    list_->Bind(wxEVT_CHECKLISTBOX, [this](wxCommandEvent&) { EnableLearn(); });
    EnableLearn();
    list_->SetFocus();
    CentreOnParent();
}

void LearnDialog::EnableLearn() { FindWindow(wxID_OK)->Enable(!Positions().empty()); }

std::vector<std::size_t> LearnDialog::Positions() const {
    std::vector<std::size_t> positions;
    for (std::size_t i = 0; i < choices_.size(); ++i) {
        if (list_->IsChecked(static_cast<unsigned>(i))) positions.push_back(choices_[i].position);
    }
    return positions;
}

std::size_t LearnDialog::Evaluations() const { return static_cast<std::size_t>(evaluations_->GetValue()); }

}  // namespace Korvane

#include "StagesBar.h"

#include <algorithm>
#include <utility>

#include <wx/button.h>
#include <wx/sizer.h>
#include <wx/stattext.h>

#include "Accessibility.h"

namespace Korvane {

namespace {

constexpr int kBorder = 4;
constexpr int kLines = 3;

/// A text that takes the width there is, whatever it says.
wxStaticText* Line(wxWindow* parent, int lines, long style) {
    auto* text =
        new wxStaticText(parent, wxID_ANY, wxEmptyString, wxDefaultPosition, wxDefaultSize, wxST_NO_AUTORESIZE | style);
    text->SetMinSize(wxSize(1, lines * text->GetCharHeight()));
    return text;
}

}  // namespace

StagesBar::StagesBar(wxWindow* parent, Links links) : wxPanel(parent) {
    SetAccessibleName(*this, "Stages of detection");
    auto* all = new wxBoxSizer(wxVERTICAL);
    auto* buttons = new wxBoxSizer(wxHORIZONTAL);
    const auto add = [&](int id, const char* label, std::function<void()> press) {
        auto* button = new wxButton(this, id, label, wxDefaultPosition, wxDefaultSize, wxBU_EXACTFIT);
        button->Bind(wxEVT_BUTTON, [press = std::move(press)](wxCommandEvent&) { press(); });
        buttons->Add(button, 0, wxRIGHT, kBorder);
    };
    add(wxID_BACKWARD, "Previous", std::move(links.previous));
    add(wxID_FORWARD, "Next", std::move(links.next));
    add(wxID_CLOSE, "Close", std::move(links.close));
    stage_ = Line(this, 1, wxST_ELLIPSIZE_END);
    stage_->SetFont(stage_->GetFont().Bold());
    buttons->Add(stage_, 1, wxALIGN_CENTER_VERTICAL);
    all->Add(buttons, 0, wxEXPAND | wxLEFT | wxRIGHT | wxTOP, kBorder);
    explanation_ = Line(this, kLines, 0);
    all->Add(explanation_, 0, wxEXPAND | wxALL, kBorder);
    SetSizer(all);
}

bool StagesBar::Layout() {
    if (GetSizer() == nullptr) return false;
    wxSize size = GetClientSize();
    size.IncTo(GetSizer()->GetMinSize());
    GetSizer()->SetDimension(wxPoint(), size);
    return true;
}

void StagesBar::ShowStage(const wxString& text) {
    stage_->SetLabel(text);
    stage_->SetToolTip(text);
    SetAccessibleDescription(*this, text);
}

void StagesBar::Explain(const wxString& text) {
    if (explanation_->GetToolTipText() == text) return;
    explanation_->SetLabel(text);
    explanation_->Wrap(std::max(100, GetClientSize().x - 2 * kBorder));
    explanation_->SetToolTip(text);
}

wxString StagesBar::StageText() const { return stage_->GetToolTipText(); }

wxString StagesBar::Explanation() const { return explanation_->GetToolTipText(); }

}  // namespace Korvane

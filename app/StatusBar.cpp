#include "StatusBar.h"

#include <cstddef>

#include <wx/stattext.h>

#include "Accessibility.h"

namespace Korvane {

void StatusBar::NameFields(const std::vector<wxString>& names) {
    for (const wxString& name : names) {
        auto* const label = new wxStaticText(this, wxID_ANY, wxEmptyString, wxDefaultPosition, wxDefaultSize,
                                             wxST_NO_AUTORESIZE | wxST_ELLIPSIZE_END);
        label->SetFont(GetFont());
        labels_.push_back(label);
        SetAccessibleName(*label, name);
        DoUpdateStatusText(static_cast<int>(labels_.size()) - 1);
    }
    Bind(wxEVT_SIZE, [this](wxSizeEvent& event) {
        event.Skip();
        for (std::size_t i = 0; i < labels_.size(); ++i) Place(static_cast<int>(i));
    });
}

const wxWindow& StatusBar::Field(int field) const { return *labels_[static_cast<std::size_t>(field)]; }

void StatusBar::DoUpdateStatusText(int field) {
    if (static_cast<std::size_t>(field) >= labels_.size()) return;
    wxStaticText& label = *labels_[static_cast<std::size_t>(field)];
    label.SetLabelText(GetStatusText(field));
    SetAccessibleDescription(label, GetStatusText(field));
    Place(field);
}

void StatusBar::DrawFieldText(wxDC& /*dc*/, const wxRect& /*rect*/, int /*field*/, int /*textHeight*/) {
    // The labels show the texts.
}

void StatusBar::Place(int field) {
    wxStaticText& label = *labels_[static_cast<std::size_t>(field)];
    wxRect place;
    // The libraries below complain of a label that is narrower than the dots at its end.
    constexpr int kNarrowest = 24;
    const bool hasRoom = GetFieldRect(field, place) && place.width >= kNarrowest;
    label.Show(hasRoom);
    if (!hasRoom) return;
    constexpr int kMargin = 2;
    const int height = label.GetBestSize().y;
    label.SetSize(place.x + kMargin, place.y + (place.height - height) / 2, place.width - 2 * kMargin, height);
}

}  // namespace Korvane

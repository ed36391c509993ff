#include "PixelSizeDialog.h"

#include <string>

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/msgdlg.h>
#include <wx/radiobut.h>
#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

#include "ParameterText.h"

namespace Korvane {

namespace {

constexpr int kBorder = 8;
constexpr int kFieldWidth = 90;
constexpr int kTextWidth = 460;

/// A thousand times beyond what any microscope shows, so that a number in a wrong unit is still taken, and warned of.
constexpr double kSmallestNm = 1e-6;
constexpr double kLargestNm = 1e6;

const char* const kExplanation =
    "The pixel size is stored in a copy beside the image, calibrated_NAME, which is then opened in its place. The "
    "image "
    "itself stays as it is.";

const char* const kWanted = "Please enter numbers greater than 0, such as 1.488.";

/// A bar is a whole number of pixels long or was measured between two of them.
wxString BarNote(const PixelSizeDialog::Image& image) {
    const std::vector<std::int64_t>& lengthsPx = image.barLengthsPx;
    if (image.linePx) return "The line was drawn. A pixel more or less changes every diameter.";
    if (lengthsPx.empty()) return "No scale bar was found in this image: draw a line over it, from end to end.";
    if (lengthsPx.size() == 1) return "The bar was found in this image. A pixel more or less changes every diameter.";
    wxString text = "Bars of several lengths were found in this image:";
    for (const std::int64_t length : lengthsPx) text += " " + std::to_string(length);
    return text + " pixels.";
}

/// The bar that is meant; none where there is none, or the choice among several.
std::optional<std::int64_t> BarLengthPx(const PixelSizeDialog::Image& image) {
    if (image.linePx) return image.linePx;
    if (image.barLengthsPx.size() != 1) return std::nullopt;
    return image.barLengthsPx.front();
}

std::optional<double> PositiveNumber(const wxTextCtrl& field) { return PositiveNumberFromText(field.GetValue()); }

}  // namespace

PixelSizeDialog::PixelSizeDialog(wxWindow* parent, const Image& image)
    : wxDialog(parent, wxID_ANY, "Store pixel size") {
    auto* all = new wxBoxSizer(wxVERTICAL);
    auto* explanation = new wxStaticText(this, wxID_ANY, kExplanation);
    explanation->Wrap(FromDIP(kTextWidth));
    all->Add(explanation, 0, wxALL, kBorder);
    auto* stored = new wxStaticText(this, wxID_ANY, wxEmptyString);
    stored->SetLabelText(image.name + ": " + image.size);
    all->Add(stored, 0, wxLEFT | wxRIGHT | wxBOTTOM, kBorder);
    AddRows(*all, image);
    result_ = new wxStaticText(this, wxID_ANY, wxEmptyString, wxDefaultPosition, FromDIP(wxSize(kTextWidth, -1)));
    all->Add(result_, 0, wxALL, kBorder);
    forAll_ = new wxCheckBox(this, kForAll, "The same for all " + std::to_string(image.openImages) + " open images");
    forAll_->Show(image.openImages > 1);
    all->Add(forAll_, 0, wxLEFT | wxRIGHT, kBorder);
    auto* buttons = new wxBoxSizer(wxHORIZONTAL);
    auto* store = new wxButton(this, wxID_OK, "Store");
    buttons->Add(store, 0, wxALL, kBorder);
    buttons->Add(new wxButton(this, wxID_CANCEL, "Cancel"), 0, wxALL, kBorder);
    all->Add(buttons, 0, wxALIGN_RIGHT);
    store->SetDefault();
    SetSizerAndFit(all);
    Bind(wxEVT_BUTTON, &PixelSizeDialog::OnStore, this, wxID_OK);
    const bool hasBar = BarLengthPx(image).has_value();
    (hasBar ? byBar_ : byNumber_)->SetValue(true);
    (hasBar ? barNm_ : numberNm_)->SetFocus();
    ShowSize();
    CentreOnParent();
}

wxTextCtrl* PixelSizeDialog::AddField(wxSizer& row, int id, const wxString& unit) {
    auto* field = new wxTextCtrl(this, id, wxEmptyString, wxDefaultPosition, FromDIP(wxSize(kFieldWidth, -1)));
    row.Add(field, 0, wxALIGN_CENTER_VERTICAL | wxLEFT, kBorder);
    row.Add(new wxStaticText(this, wxID_ANY, unit), 0, wxALIGN_CENTER_VERTICAL | wxLEFT, kBorder);
    // Whoever types a number means it.
    field->Bind(wxEVT_TEXT, [this, id](wxCommandEvent&) {
        if (result_ == nullptr) return;
        (id == kNumberNm ? byNumber_ : byBar_)->SetValue(true);
        ShowSize();
    });
    return field;
}

void PixelSizeDialog::AddRows(wxSizer& all, const Image& image) {
    auto* number = new wxBoxSizer(wxHORIZONTAL);
    byNumber_ = new wxRadioButton(this, kByNumber, "A pixel is", wxDefaultPosition, wxDefaultSize, wxRB_GROUP);
    number->Add(byNumber_, 0, wxALIGN_CENTER_VERTICAL);
    numberNm_ = AddField(*number, kNumberNm, "nm wide");
    all.Add(number, 0, wxLEFT | wxRIGHT | wxTOP, kBorder);
    auto* bar = new wxBoxSizer(wxHORIZONTAL);
    byBar_ = new wxRadioButton(this, kByBar, "The scale bar of");
    bar->Add(byBar_, 0, wxALIGN_CENTER_VERTICAL);
    barPx_ = AddField(*bar, kBarPx, "pixels is");
    barNm_ = AddField(*bar, kBarNm, "nm long");
    all.Add(bar, 0, wxLEFT | wxRIGHT | wxTOP, kBorder);
    const std::optional<std::int64_t> length = BarLengthPx(image);
    if (length) barPx_->ChangeValue(std::to_string(*length));
    bar->Add(new wxButton(this, kDraw, "Draw a line..."), 0, wxALIGN_CENTER_VERTICAL | wxLEFT, kBorder);
    Bind(
        wxEVT_BUTTON, [this](wxCommandEvent&) { EndModal(kDraw); }, kDraw);
    auto* note = new wxStaticText(this, wxID_ANY, BarNote(image));
    note->Wrap(FromDIP(kTextWidth));
    all.Add(note, 0, wxLEFT | wxRIGHT | wxTOP, kBorder);
    for (wxRadioButton* const choice : {byNumber_, byBar_}) {
        choice->Bind(wxEVT_RADIOBUTTON, [this](wxCommandEvent&) { ShowSize(); });
    }
}

std::optional<double> PixelSizeDialog::SizeNm() const {
    std::optional<double> size = PositiveNumber(byBar_->GetValue() ? *barNm_ : *numberNm_);
    if (size && byBar_->GetValue()) {
        const std::optional<double> pixels = PositiveNumber(*barPx_);
        if (!pixels) return std::nullopt;
        size = *size / *pixels;
    }
    if (!size || *size < kSmallestNm || *size > kLargestNm) return std::nullopt;
    return size;
}

bool PixelSizeDialog::IsForAll() const { return forAll_->IsChecked(); }

void PixelSizeDialog::ShowSize() {
    const std::optional<double> size = SizeNm();
    result_->SetLabel(size ? "To be stored: " + wxString::Format("%g", *size) + " nm per pixel" : wxString(kWanted));
}

void PixelSizeDialog::OnStore(wxCommandEvent& event) {
    if (SizeNm()) return event.Skip();
    wxMessageBox(kWanted, "Validation conflict", wxOK | wxICON_EXCLAMATION, this);
    wxTextCtrl* const wrong = !byBar_->GetValue() ? numberNm_ : PositiveNumber(*barPx_) ? barNm_ : barPx_;
    wrong->SetFocus();
    wrong->SelectAll();
}

}  // namespace Korvane

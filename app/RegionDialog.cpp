#include "RegionDialog.h"

#include <algorithm>
#include <string>
#include <utility>

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/sizer.h>
#include <wx/spinctrl.h>
#include <wx/stattext.h>

namespace Korvane {

namespace {

constexpr int kBorder = 8;
constexpr int kTextWidth = 420;

const char* const kExplanation =
    "Detection and segmentation look at this part of the image only. Labels that lie outside it are gone afterwards. "
    "X and Y are counted from the upper left corner, in pixels.";

constexpr std::array<const char*, 4> kLabels{"X:", "Y:", "Width:", "Height:"};

}  // namespace

RegionDialog::RegionDialog(wxWindow* parent, const Image& image, const Region& region, Show show)
    : wxDialog(parent, wxID_ANY, "Analysis region"), image_(image), show_(std::move(show)) {
    auto* all = new wxBoxSizer(wxVERTICAL);
    auto* explanation = new wxStaticText(this, wxID_ANY, kExplanation);
    explanation->Wrap(FromDIP(kTextWidth));
    all->Add(explanation, 0, wxALL, kBorder);
    AddFields(*all, region.value_or(PixelBox{0, 0, image.width, image.height}));
    AddButtons(*all);
    SetSizerAndFit(all);
    CentreOnParent();
}

void RegionDialog::AddFields(wxSizer& all, const PixelBox& box) {
    auto* grid = new wxFlexGridSizer(4, kBorder, kBorder);
    const std::array<std::int64_t, 4> values{box.x, box.y, box.width, box.height};
    const std::array<std::int64_t, 4> most{image_.width - 1, image_.height - 1, image_.width, image_.height};
    for (std::size_t i = 0; i < fields_.size(); ++i) {
        grid->Add(new wxStaticText(this, wxID_ANY, kLabels[i]), 0, wxALIGN_CENTER_VERTICAL | wxALIGN_RIGHT);
        fields_[i] = new wxSpinCtrl(this, kFields[i], wxEmptyString, wxDefaultPosition, wxDefaultSize, wxSP_ARROW_KEYS,
                                    i < 2 ? 0 : 1, static_cast<int>(most[i]), static_cast<int>(values[i]));
        fields_[i]->Bind(wxEVT_SPINCTRL, [this](wxSpinEvent&) { ShowChosen(); });
        grid->Add(fields_[i]);
    }
    all.Add(grid, 0, wxLEFT | wxRIGHT, kBorder);
    FitRanges();
}

void RegionDialog::AddButtons(wxSizer& all) {
    auto* shortcuts = new wxBoxSizer(wxHORIZONTAL);
    auto* withoutBars = new wxButton(this, kWithoutBars, "Leave out information bars");
    withoutBars->Enable(!image_.bars.Empty());
    withoutBars->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) {
        const std::int64_t rows = image_.bars.topRows + image_.bars.bottomRows;
        Put({0, image_.bars.topRows, image_.width, image_.height - rows});
    });
    auto* whole = new wxButton(this, kWhole, "Whole image");
    whole->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { Put({0, 0, image_.width, image_.height}); });
    auto* draw = new wxButton(this, kDraw, "Draw...");
    draw->SetToolTip("Closes this dialog until a rectangle was dragged over the image");
    draw->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { EndModal(kDraw); });
    for (wxButton* const button : {draw, withoutBars, whole}) shortcuts->Add(button, 0, wxALL, kBorder);
    all.Add(shortcuts);
    if (image_.bars.Empty()) {
        all.Add(new wxStaticText(this, wxID_ANY, "No information bar was found in this image."), 0,
                wxLEFT | wxRIGHT | wxBOTTOM, kBorder);
    }
    forAll_ = new wxCheckBox(this, kForAll,
                             "The same for all " + std::to_string(image_.ofThisSize) + " open images of this size");
    forAll_->Show(image_.ofThisSize > 1);
    all.Add(forAll_, 0, wxLEFT | wxRIGHT, kBorder);
    auto* buttons = new wxBoxSizer(wxHORIZONTAL);
    auto* ok = new wxButton(this, wxID_OK, "OK");
    buttons->Add(ok, 0, wxALL, kBorder);
    buttons->Add(new wxButton(this, wxID_CANCEL, "Cancel"), 0, wxALL, kBorder);
    all.Add(buttons, 0, wxALIGN_RIGHT);
    ok->SetDefault();
}

void RegionDialog::Put(const PixelBox& box) {
    const std::array<std::int64_t, 4> values{box.x, box.y, box.width, box.height};
    const std::array<std::int64_t, 4> most{image_.width - 1, image_.height - 1, image_.width, image_.height};
    for (std::size_t i = 0; i < fields_.size(); ++i) {
        fields_[i]->SetRange(i < 2 ? 0 : 1, static_cast<int>(most[i]));
        fields_[i]->SetValue(static_cast<int>(values[i]));
    }
    ShowChosen();
}

/// So that no region can be typed that leaves the image.
void RegionDialog::FitRanges() {
    fields_[2]->SetRange(1, static_cast<int>(image_.width) - fields_[0]->GetValue());
    fields_[3]->SetRange(1, static_cast<int>(image_.height) - fields_[1]->GetValue());
}

void RegionDialog::ShowChosen() {
    FitRanges();
    show_(Chosen());
}

RegionDialog::Region RegionDialog::Chosen() const {
    PixelBox box{fields_[0]->GetValue(), fields_[1]->GetValue(), fields_[2]->GetValue(), fields_[3]->GetValue()};
    // A number that is still being typed has not fitted the ranges yet.
    box.width = std::min(box.width, image_.width - box.x);
    box.height = std::min(box.height, image_.height - box.y);
    if (box.width == image_.width && box.height == image_.height) return std::nullopt;
    return box;
}

bool RegionDialog::IsForAll() const { return forAll_->IsChecked(); }

}  // namespace Korvane

#include "DisplayRangeDialog.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

#include <wx/button.h>
#include <wx/dcbuffer.h>
#include <wx/panel.h>
#include <wx/settings.h>
#include <wx/sizer.h>
#include <wx/spinctrl.h>
#include <wx/stattext.h>

namespace Korvane {

namespace {

constexpr int kBars = 256;
constexpr int kHeight = 140;
constexpr int kBorder = 8;
constexpr int kMargin = 5;  ///< beside the histogram, so that the handles at its ends can be taken
constexpr int kReset = wxID_RESET;

}  // namespace

/// The bars, as high as the logarithm of their counts, and the two handles.
class DisplayRangeDialog::Histogram final : public wxPanel {
public:
    Histogram(DisplayRangeDialog& dialog, const IntensityDistribution& intensities)
        : wxPanel(&dialog, wxID_ANY, wxDefaultPosition, dialog.FromDIP(wxSize(kBars * 2 + 2 * kMargin, kHeight))),
          dialog_(dialog),
          intensities_(intensities),
          counts_(intensities.Counts(kBars)) {
        SetBackgroundStyle(wxBG_STYLE_PAINT);
        SetMinSize(GetSize());
        SetToolTip("Drag the two lines: black on the left, white on the right");
        Bind(wxEVT_PAINT, &Histogram::OnPaint, this);
        Bind(wxEVT_LEFT_DOWN, &Histogram::OnPress, this);
        Bind(wxEVT_MOTION, &Histogram::OnDrag, this);
        Bind(wxEVT_LEFT_UP, [this](wxMouseEvent&) {
            if (HasCapture()) ReleaseMouse();
        });
        Bind(wxEVT_MOUSE_CAPTURE_LOST, [](wxMouseCaptureLostEvent&) {});
    }

private:
    enum class Handle { kLow, kHigh };

    int Width() const { return std::max(1, GetClientSize().x - 2 * kMargin); }
    int At(double percent) const {
        return kMargin + static_cast<int>(std::lround(intensities_.Place(intensities_.Percentile(percent)) * Width()));
    }

    void OnPaint(wxPaintEvent&) {
        wxAutoBufferedPaintDC dc(this);
        const wxSize size = GetClientSize();
        dc.SetBackground(wxBrush(wxSystemSettings::GetColour(wxSYS_COLOUR_WINDOW)));
        dc.Clear();
        const double most = std::log1p(static_cast<double>(*std::max_element(counts_.begin(), counts_.end())));
        dc.SetPen(*wxTRANSPARENT_PEN);
        dc.SetBrush(wxBrush(wxSystemSettings::GetColour(wxSYS_COLOUR_GRAYTEXT)));
        for (int i = 0; i < kBars && most > 0.0; ++i) {
            const double share = std::log1p(static_cast<double>(counts_[static_cast<std::size_t>(i)])) / most;
            const int height = static_cast<int>(std::lround(share * (size.y - 1)));
            const int left = kMargin + i * Width() / kBars;
            dc.DrawRectangle(left, size.y - height, kMargin + (i + 1) * Width() / kBars - left, height);
        }
        dc.SetPen(wxPen(wxSystemSettings::GetColour(wxSYS_COLOUR_HIGHLIGHT), 3));
        for (const double percent : {dialog_.range_.lowPercent, dialog_.range_.highPercent}) {
            dc.DrawLine(At(percent), 0, At(percent), size.y);
        }
    }

    void OnPress(wxMouseEvent& event) {
        const int x = event.GetX();
        const int low = std::abs(x - At(dialog_.range_.lowPercent));
        const int high = std::abs(x - At(dialog_.range_.highPercent));
        held_ = low < high || (low == high && x < At(dialog_.range_.lowPercent)) ? Handle::kLow : Handle::kHigh;
        CaptureMouse();
        Move(x);
    }

    void OnDrag(wxMouseEvent& event) {
        if (HasCapture()) Move(event.GetX());
    }

    /// To the percentile of the intensity there, to a tenth.
    void Move(int x) {
        const double place = std::clamp(static_cast<double>(x - kMargin) / Width(), 0.0, 1.0);
        double low = 0.0;
        double high = 100.0;
        constexpr int kHalvings = 20;
        for (int i = 0; i < kHalvings; ++i) {
            const double middle = (low + high) / 2.0;
            (intensities_.Place(intensities_.Percentile(middle)) < place ? low : high) = middle;
        }
        const double percent = std::round(high * 10.0) / 10.0;
        DisplayRange range = dialog_.range_;
        if (held_ == Handle::kLow) {
            range.lowPercent = std::min(percent, range.highPercent - kLeastDisplayPercent);
        } else {
            range.highPercent = std::max(percent, range.lowPercent + kLeastDisplayPercent);
        }
        dialog_.Choose(range);
    }

    DisplayRangeDialog& dialog_;
    const IntensityDistribution& intensities_;
    std::vector<std::uint64_t> counts_;
    Handle held_ = Handle::kLow;
};

DisplayRangeDialog::DisplayRangeDialog(wxWindow* parent, const IntensityDistribution& intensities,
                                       const DisplayRange& range, Show show)
    : wxDialog(parent, wxID_ANY, "Display range"), range_(range), show_(std::move(show)) {
    auto* all = new wxBoxSizer(wxVERTICAL);
    histogram_ = new Histogram(*this, intensities);
    all->Add(histogram_, 1, wxEXPAND | wxALL, kBorder);
    auto* row = new wxBoxSizer(wxHORIZONTAL);
    const auto add = [&](const char* label, double value) {
        row->Add(new wxStaticText(this, wxID_ANY, label), 0, wxALIGN_CENTER_VERTICAL | wxLEFT | wxRIGHT, kBorder);
        auto* spin = new wxSpinCtrlDouble(this, wxID_ANY, wxEmptyString, wxDefaultPosition, wxDefaultSize,
                                          wxSP_ARROW_KEYS, 0.0, 100.0, value, 0.5);
        spin->SetDigits(1);
        row->Add(spin);
        return spin;
    };
    low_ = add("Black at percentile:", range.lowPercent);
    high_ = add("White at percentile:", range.highPercent);
    all->Add(row, 0, wxLEFT | wxRIGHT, kBorder);
    auto* buttons = new wxBoxSizer(wxHORIZONTAL);
    auto* reset = new wxButton(this, kReset, "Reset");
    auto* ok = new wxButton(this, wxID_OK, "OK");
    for (wxButton* const button : {reset, ok, new wxButton(this, wxID_CANCEL, "Cancel")}) {
        buttons->Add(button, 0, wxALL, kBorder);
    }
    all->Add(buttons, 0, wxALIGN_RIGHT);
    ok->SetDefault();
    SetSizerAndFit(all);
    const auto typed = [this](wxSpinDoubleEvent&) { Choose(Bounded({low_->GetValue(), high_->GetValue()})); };
    low_->Bind(wxEVT_SPINCTRLDOUBLE, typed);
    high_->Bind(wxEVT_SPINCTRLDOUBLE, typed);
    reset->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { Choose(DisplayRange()); });
}

void DisplayRangeDialog::Choose(const DisplayRange& range) {
    range_ = range;
    low_->SetValue(range.lowPercent);
    high_->SetValue(range.highPercent);
    histogram_->Refresh();
    show_(range_);
}

}  // namespace Korvane

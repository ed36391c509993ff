#include "SizeHistogram.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include <wx/dcbuffer.h>
#include <wx/settings.h>

#include "Accessibility.h"

namespace Korvane {

namespace {

constexpr int kHeight = 110;
constexpr int kMargin = 4;

wxString Nanometres(double size) { return wxString::FromCDouble(size, size == std::floor(size) ? 0 : 1) + " nm"; }

}  // namespace

SizeHistogram::SizeHistogram(wxWindow* parent)
    : wxPanel(parent, wxID_ANY, wxDefaultPosition, parent->FromDIP(wxSize(-1, kHeight))) {
    SetBackgroundStyle(wxBG_STYLE_PAINT);
    SetMinSize(parent->FromDIP(wxSize(100, kHeight)));
    SetAccessibleName(*this, "Histogram of sizes");
    Bind(wxEVT_PAINT, &SizeHistogram::OnPaint, this);
    Bind(wxEVT_SIZE, [this](wxSizeEvent& event) {
        Refresh();
        event.Skip();
    });
}

void SizeHistogram::Show(std::vector<SizeBin> bins) {
    bins_ = std::move(bins);
    wxString text = "No sizes";
    if (!bins_.empty()) {
        text = "From " + Nanometres(bins_.front().from) + " to " + Nanometres(bins_.back().to) + ", a bar for each " +
               Nanometres(bins_.front().to - bins_.front().from);
    }
    SetToolTip(text);
    SetAccessibleDescription(*this, text);
    Refresh();
}

void SizeHistogram::OnPaint(wxPaintEvent&) {
    wxAutoBufferedPaintDC dc(this);
    dc.SetBackground(wxBrush(wxSystemSettings::GetColour(wxSYS_COLOUR_WINDOW)));
    dc.Clear();
    if (bins_.empty()) return;
    dc.SetFont(GetFont());
    dc.SetTextForeground(wxSystemSettings::GetColour(wxSYS_COLOUR_WINDOWTEXT));
    const wxSize size = GetClientSize();
    const wxString last = Nanometres(bins_.back().to);
    const wxSize extent = dc.GetTextExtent(last);
    const int ground = size.y - extent.y - kMargin;
    dc.DrawText(Nanometres(bins_.front().from), kMargin, ground + 2);
    dc.DrawText(last, size.x - extent.x - kMargin, ground + 2);
    const auto most = std::max_element(bins_.begin(), bins_.end(), [](const SizeBin& a, const SizeBin& b) {
                          return a.count < b.count;
                      })->count;
    const wxString top = std::to_string(most);
    dc.DrawText(top, kMargin, 0);
    const int left = kMargin + dc.GetTextExtent(top).x + kMargin;
    const auto width = static_cast<double>(std::max(1, size.x - left - kMargin));
    const auto place = [&](std::size_t bin) {
        return left +
               static_cast<int>(std::lround(width * static_cast<double>(bin) / static_cast<double>(bins_.size())));
    };
    dc.SetBrush(wxBrush(wxSystemSettings::GetColour(wxSYS_COLOUR_HIGHLIGHT)));
    dc.SetPen(wxPen(wxSystemSettings::GetColour(wxSYS_COLOUR_WINDOW)));
    for (std::size_t i = 0; i < bins_.size(); ++i) {
        const double share = static_cast<double>(bins_[i].count) / static_cast<double>(most);
        const int height = static_cast<int>(std::lround(share * (ground - kMargin)));
        if (height > 0) dc.DrawRectangle(place(i), ground - height, std::max(2, place(i + 1) - place(i) + 1), height);
    }
    dc.SetPen(wxPen(wxSystemSettings::GetColour(wxSYS_COLOUR_WINDOWTEXT)));
    dc.DrawLine(left, ground, size.x - kMargin, ground);
}

}  // namespace Korvane

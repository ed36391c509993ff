#include "OverlayDrawing.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include <wx/bitmap.h>
#include <wx/dcmemory.h>
#include <wx/image.h>

#include "OverlayGeometry.h"

namespace Korvane {

namespace {

static_assert(sizeof(qvox::Rgb8) == 3, "painted rows are handed to the toolkit as they are");

constexpr qvox::Rgb8 kShadow{0, 0, 0};
constexpr qvox::Rgb8 kText{255, 255, 255};

wxPoint PointOf(const Pixel& pixel) { return {static_cast<int>(pixel.x), static_cast<int>(pixel.y)}; }

/// The rectangle that the line covers, in window pixels from the corner of the scaled image.
wxRect LineRectangle(const std::vector<Pixel>& line, float zoom) {
    Pixel first = line.front();
    Pixel last = line.front();
    for (const Pixel& pixel : line) {
        first = {std::min(first.x, pixel.x), std::min(first.y, pixel.y)};
        last = {std::max(last.x, pixel.x), std::max(last.y, pixel.y)};
    }
    const auto scaled = [zoom](std::int64_t at) { return static_cast<int>(std::floor(static_cast<float>(at) * zoom)); };
    wxRect box(wxPoint(scaled(first.x), scaled(first.y)), wxPoint(scaled(last.x + 1), scaled(last.y + 1)));
    // The pen is as wide as a pixel of the image.
    return box.Inflate(static_cast<int>(zoom) + 2);
}

void DrawLine(wxDC& dc, const std::vector<Pixel>& line, std::uint16_t label) {
    const qvox::Rgb8 colour = ToolColour(label);
    dc.SetPen(wxPen(wxColour(colour.r, colour.g, colour.b), 1));
    dc.SetBrush(*wxTRANSPARENT_BRUSH);
    for (std::size_t i = 1; i < line.size(); ++i) dc.DrawLine(PointOf(line[i - 1]), PointOf(line[i]));
    dc.DrawPoint(PointOf(line.back()));
}

/// Draws the open contour, touching no more of the painted image than it covers.
void DrawContour(ColourPicture& painted, const std::vector<Pixel>& line, std::uint16_t label, const OverlayPort& port) {
    const wxRect window(port.corner, wxSize(static_cast<int>(painted.SizeX()) / port.density,
                                            static_cast<int>(painted.SizeY()) / port.density));
    const wxRect part = LineRectangle(line, port.zoom).Intersect(window);
    if (part.IsEmpty()) return;
    const auto left = static_cast<std::uint64_t>((part.x - port.corner.x) * port.density);
    const auto top = static_cast<std::uint64_t>((part.y - port.corner.y) * port.density);
    const int width = part.width * port.density;
    const int height = part.height * port.density;
    wxImage image(width, height, false);
    auto* bytes = reinterpret_cast<qvox::Rgb8*>(image.GetData());
    for (int y = 0; y < height; ++y) {
        const qvox::Rgb8* const row = painted.Row(top + static_cast<std::uint64_t>(y)) + left;
        std::copy(row, row + width, bytes + std::ptrdiff_t{y} * width);
    }
    wxBitmap bitmap(image, wxBITMAP_SCREEN_DEPTH, port.density);
    {
        wxMemoryDC dc(bitmap);
        dc.SetDeviceOrigin(-part.x, -part.y);
        dc.SetUserScale(static_cast<double>(port.zoom), static_cast<double>(port.zoom));
        DrawLine(dc, line, label);
    }
    image = bitmap.ConvertToImage();
    bytes = reinterpret_cast<qvox::Rgb8*>(image.GetData());
    for (int y = 0; y < height; ++y) {
        const qvox::Rgb8* const row = bytes + std::ptrdiff_t{y} * width;
        std::copy(row, row + width, painted.Row(top + static_cast<std::uint64_t>(y)) + left);
    }
}

/// Draws a text once, white on black.
TextMask MakeMask(const wxString& text, int density) {
    const wxFont font(10, wxFONTFAMILY_SWISS, wxFONTSTYLE_NORMAL, wxFONTWEIGHT_BOLD);
    constexpr int kMargin = 3;
    wxBitmap bitmap;
    bitmap.CreateWithDIPSize(wxSize(1, 1), density, 24);
    wxMemoryDC dc(bitmap);
    dc.SetFont(font);
    const wxSize extent = dc.GetTextExtent(text);
    dc.SelectObject(wxNullBitmap);
    bitmap.CreateWithDIPSize(extent + wxSize(2 * kMargin, 2 * kMargin), density, 24);
    dc.SelectObject(bitmap);
    dc.SetFont(font);
    dc.SetBackground(*wxBLACK_BRUSH);
    dc.Clear();
    dc.SetTextForeground(*wxWHITE);
    dc.DrawText(text, kMargin, kMargin);
    dc.SelectObject(wxNullBitmap);
    const wxImage drawn = bitmap.ConvertToImage();
    TextMask mask;
    mask.width = drawn.GetWidth();
    mask.height = drawn.GetHeight();
    mask.margin = kMargin * density;
    mask.extent = {extent.x, extent.y};
    const std::size_t bytes = 3 * static_cast<std::size_t>(mask.width) * static_cast<std::size_t>(mask.height);
    mask.coverage.assign(drawn.GetData(), drawn.GetData() + bytes);
    return mask;
}

wxRect Covered(const NumberPlace& place, const TextMask& mask, int density) {
    // The shadow reaches one pixel farther.
    wxRect box(place.text.x, place.text.y, mask.extent.width + 1, mask.extent.height + 1);
    return box.Inflate(mask.margin / density);
}

}  // namespace

const TextMask& OverlayDrawing::MaskOf(std::uint16_t label, int density) {
    constexpr std::size_t kMostKept = 8192;
    if (density != density_ || masks_.size() >= kMostKept) masks_.clear();
    density_ = density;
    const auto known = masks_.find(label);
    if (known != masks_.end()) return known->second;
    return masks_.emplace(label, MakeMask(wxString::Format("%d", static_cast<int>(label)), density)).first->second;
}

wxRect OverlayDrawing::NumberRectangle(const LabelAnchor& anchor, float zoom, int density) {
    const TextMask& mask = MaskOf(anchor.label, density);
    return Covered(PlaceNumber(anchor, zoom, mask.extent), mask, density);
}

void OverlayDrawing::Draw(ColourPicture& painted, const qvox::LabelImage& labels,
                          const std::vector<LabelAnchor>& anchors, const CanvasState& state, const OverlayPort& port) {
    if (state.editing != nullptr && !state.editing->contourPoints.empty()) {
        DrawContour(painted, ContourLine(*state.editing, labels), state.currentLabel, port);
    }
    if (state.numbers == CanvasState::Numbers::kHidden) return;
    // Farther from its anchor than this no number reaches, so its text need not be known.
    constexpr int kReach = 100;
    const wxRect window(port.corner, wxSize(static_cast<int>(painted.SizeX()) / port.density,
                                            static_cast<int>(painted.SizeY()) / port.density));
    wxRect near = window;
    near.Inflate(kReach);
    for (const LabelAnchor& anchor : anchors) {
        const wxPoint at(static_cast<int>(static_cast<float>(anchor.x) * port.zoom),
                         static_cast<int>(static_cast<float>(anchor.y) * port.zoom));
        if (!near.Contains(at)) continue;
        const TextMask& mask = MaskOf(anchor.label, port.density);
        const NumberPlace place = PlaceNumber(anchor, port.zoom, mask.extent);
        if (!Covered(place, mask, port.density).Intersects(window)) continue;
        const auto stamp = [&](const ClientPoint& corner, const qvox::Rgb8& colour) {
            StampText(painted, std::int64_t{corner.x - port.corner.x} * port.density,
                      std::int64_t{corner.y - port.corner.y} * port.density, mask, colour);
        };
        stamp(place.shadow, kShadow);
        stamp(place.text, kText);
    }
}

}  // namespace Korvane

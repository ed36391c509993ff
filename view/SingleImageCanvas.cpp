#include "SingleImageCanvas.h"

#include <algorithm>
#include <cmath>

#include <wx/dcclient.h>
#include <wx/image.h>
#include <wx/log.h>

#include "LabelColours.h"

namespace Korvane {

namespace {

wxColour PenColour(std::uint16_t label) {
    if (label == 0) return *wxWHITE;
    const qvox::Rgb8 colour = LabelColour(label);
    return wxColour(colour.r, colour.g, colour.b);
}

wxPoint PointOf(const qvox::LabelImage& labels, std::uint64_t index) {
    const auto at = labels.Coordinates(index);
    return {static_cast<int>(at[0]), static_cast<int>(at[1])};
}

void DrawContour(wxDC& dc, const qvox::LabelImage& labels, const std::vector<std::uint64_t>& points,
                 std::uint16_t label) {
    dc.SetPen(wxPen(PenColour(label), 1));
    dc.SetBrush(*wxTRANSPARENT_BRUSH);
    for (std::size_t i = 1; i < points.size(); ++i) {
        dc.DrawLine(PointOf(labels, points[i - 1]), PointOf(labels, points[i]));
    }
    dc.DrawPoint(PointOf(labels, points.back()));
}

/// Farther from its anchor than this no number reaches, in window pixels.
constexpr int kNumberReach = 60;

void DrawNumbers(wxDC& dc, const std::vector<LabelAnchor>& anchors, float scale, const wxRect& visible) {
    dc.SetFont(wxFont(10, wxFONTFAMILY_SWISS, wxFONTSTYLE_NORMAL, wxFONTWEIGHT_BOLD));
    wxRect near = visible;
    near.Inflate(kNumberReach);
    for (const LabelAnchor& anchor : anchors) {
        const auto x = static_cast<int>(static_cast<float>(anchor.x) * scale);
        const auto y = static_cast<int>(static_cast<float>(anchor.y) * scale);
        if (!near.Contains(x, y)) continue;
        const wxString text = wxString::Format("%d", static_cast<int>(anchor.label));
        const wxSize extent = dc.GetTextExtent(text);
        const wxPoint at(x - extent.x / 2, y - extent.y / 2);
        dc.SetTextForeground(*wxBLACK);
        dc.DrawText(text, at + wxPoint(1, 1));
        dc.SetTextForeground(*wxWHITE);
        dc.DrawText(text, at);
    }
}

}  // namespace

SingleImageCanvas::SingleImageCanvas(wxWindow* parent, CanvasOwner& owner)
    : wxScrolled<wxPanel>(parent, wxID_ANY, wxDefaultPosition, wxDefaultSize,
                          wxHSCROLL | wxVSCROLL | wxWANTS_CHARS | wxFULL_REPAINT_ON_RESIZE),
      owner_(owner) {
    SetScrollRate(1, 1);
    // Nothing is to be seen before the paint step, so nothing flickers.
    SetBackgroundStyle(wxBG_STYLE_PAINT);
    // Pages and arrows are the frame's; a focused scrolled window would take them.
    DisableKeyboardScrolling();
    Bind(wxEVT_ERASE_BACKGROUND, [](wxEraseEvent&) {});
    Bind(wxEVT_PAINT, &SingleImageCanvas::OnPaint, this);
    for (const auto& type : {wxEVT_MOTION, wxEVT_ENTER_WINDOW, wxEVT_LEAVE_WINDOW, wxEVT_LEFT_DOWN, wxEVT_LEFT_DCLICK,
                             wxEVT_LEFT_UP, wxEVT_RIGHT_DOWN, wxEVT_RIGHT_UP}) {
        Bind(type, &SingleImageCanvas::OnMouse, this);
    }
    Bind(wxEVT_MOUSEWHEEL, [this](wxMouseEvent& event) {
        pointer_ = event.GetPosition();
        owner_.OnMouseWheel(event);
    });
    // Typed characters go to whatever has the focus and no further; a frame cannot have it, so they are handed on.
    Bind(wxEVT_CHAR, [this](wxKeyEvent& event) { owner_.OnChar(event); });
}

void SingleImageCanvas::SetImages(const qvox::VoxelImage<float>* raw, const qvox::LabelImage* labels) {
    raw_ = nullptr;
    labels_ = nullptr;
    LabelsChanged();
    grey_.Release();
    if (raw == nullptr || labels == nullptr) return;
    ConvertToGrey(*raw, grey_);
    raw_ = raw;
    labels_ = labels;
}

void SingleImageCanvas::ShowFromCorner(float zoom) {
    if (raw_ == nullptr) {
        SetVirtualSize(0, 0);
        return;
    }
    SetVirtualSize(static_cast<int>(static_cast<float>(raw_->SizeX()) * zoom),
                   static_cast<int>(static_cast<float>(raw_->SizeY()) * zoom));
    Scroll(0, 0);
}

void SingleImageCanvas::Rescale(float oldZoom, float newZoom) {
    if (raw_ == nullptr) return;
    const wxSize client = GetClientSize();
    const wxPoint p = PointerInside() ? pointer_ : wxPoint(client.x / 2, client.y / 2);
    const wxPoint start = ViewStartPixels();
    const float qx = std::ceil(static_cast<float>(start.x + p.x) / oldZoom);
    const float qy = std::ceil(static_cast<float>(start.y + p.y) / oldZoom);
    SetVirtualSize(static_cast<int>(static_cast<float>(raw_->SizeX()) * newZoom),
                   static_cast<int>(static_cast<float>(raw_->SizeY()) * newZoom));
    // A negative target would mean "leave it" to the scrolled window.
    Scroll(std::max(0, static_cast<int>(qx * newZoom - static_cast<float>(p.x))),
           std::max(0, static_cast<int>(qy * newZoom - static_cast<float>(p.y))));
}

void SingleImageCanvas::ScrollBy(int dx, int dy) {
    const wxPoint start = ViewStartPixels();
    Scroll(std::max(0, start.x + dx), std::max(0, start.y + dy));
}

bool SingleImageCanvas::PointerInside() const { return wxRect(GetClientSize()).Contains(pointer_); }

wxPoint SingleImageCanvas::ViewStartPixels() const { return GetViewStart(); }

void SingleImageCanvas::RefreshImagePart(std::int64_t left, std::int64_t top, std::int64_t right, std::int64_t bottom) {
    const CanvasState state = owner_.StateOfCanvas();
    if (state.numbers == CanvasState::Numbers::kShown) {
        // Numbers far from the edit may have moved or gone.
        Refresh(false);
        return;
    }
    const wxPoint start = ViewStartPixels();
    const auto window = [&](std::int64_t at, int origin) {
        return static_cast<int>(std::floor(static_cast<float>(at) * state.zoom)) - origin;
    };
    // Contours change up to one pixel beside the edit.
    const wxPoint first(window(left - 1, start.x) - 1, window(top - 1, start.y) - 1);
    const wxPoint last(window(right + 2, start.x) + 1, window(bottom + 2, start.y) + 1);
    RefreshRect(wxRect(first, last).Intersect(wxRect(GetClientSize())), false);
}

wxRect SingleImageCanvas::OutlineRectangle(const CanvasState& state) const {
    if (raw_ == nullptr || !PointerInside()) return {};
    const auto reach = static_cast<int>(static_cast<float>(state.outlineRadius + 2) * state.zoom) + 3;
    wxRect around(pointer_, wxSize(1, 1));
    return around.Inflate(reach);
}

void SingleImageCanvas::RefreshOutline() {
    if (!drawnOutline_.IsEmpty()) RefreshRect(drawnOutline_, false);
    drawnOutline_ = OutlineRectangle(owner_.StateOfCanvas());
    if (!drawnOutline_.IsEmpty()) RefreshRect(drawnOutline_, false);
}

void SingleImageCanvas::OnMouse(wxMouseEvent& event) {
    pointer_ = event.Leaving() ? wxPoint(-1, -1) : event.GetPosition();
    if (event.LeftDown() || event.RightDown()) SetFocus();
    owner_.OnCanvasMouse(event);
    RefreshOutline();
    event.Skip(event.LeftDown());
}

void SingleImageCanvas::PaintPicture(wxDC& dc, const wxRect& box, const CanvasState& state) {
    const wxPoint start = ViewStartPixels();
    PaintView(grey_, *labels_, state.style, {start.x, start.y, state.zoom}, {box.x, box.y, box.width, box.height},
              painted_);
    static_assert(sizeof(qvox::Rgb8) == 3, "the painted rows are handed over as they are");
    const wxImage image(box.GetSize(), reinterpret_cast<unsigned char*>(painted_.begin()), true);
    dc.DrawBitmap(wxBitmap(image), box.GetPosition());
}

void SingleImageCanvas::DrawOverlay(wxDC& dc, const qvox::LabelImage& labels, const std::vector<LabelAnchor>& anchors,
                                    const CanvasState& state, float scale, const wxRect& visible) {
    dc.SetUserScale(static_cast<double>(scale), static_cast<double>(scale));
    if (state.contourPoints != nullptr && !state.contourPoints->empty()) {
        DrawContour(dc, labels, *state.contourPoints, state.currentLabel);
    }
    if (state.numbers == CanvasState::Numbers::kHidden) return;
    dc.SetUserScale(1.0, 1.0);
    DrawNumbers(dc, anchors, scale, visible);
    dc.SetUserScale(static_cast<double>(scale), static_cast<double>(scale));
}

void SingleImageCanvas::DrawOutline(wxDC& dc, const CanvasState& state) {
    if (!PointerInside()) return;
    const wxPoint start = ViewStartPixels();
    const auto x = static_cast<int>(ImageCoordinate(start.x, pointer_.x, state.zoom));
    const auto y = static_cast<int>(ImageCoordinate(start.y, pointer_.y, state.zoom));
    dc.SetPen(wxPen(PenColour(state.currentLabel), 1));
    dc.SetBrush(*wxTRANSPARENT_BRUSH);
    dc.DrawCircle(x, y, state.outlineRadius);
}

void SingleImageCanvas::OnPaint(wxPaintEvent&) {
    wxPaintDC dc(this);
    owner_.OnCanvasPainted();
    const wxRect client(GetClientSize());
    const wxRect box = GetUpdateRegion().GetBox().Intersect(client);
    if (raw_ == nullptr) {
        dc.SetBackground(wxBrush(wxColour(kViewBackground.r, kViewBackground.g, kViewBackground.b)));
        dc.Clear();
        return;
    }
    if (box.IsEmpty()) return;
    try {
        const CanvasState state = owner_.StateOfCanvas();
        PaintPicture(dc, box, state);
        if (state.numbers == CanvasState::Numbers::kShown && anchorsKnown_ == AnchorsKnown::kNo) {
            anchors_ = LabelAnchors(*labels_);
            anchorsKnown_ = AnchorsKnown::kYes;
        }
        DoPrepareDC(dc);
        wxRect visible = box;
        visible.Offset(ViewStartPixels());
        DrawOverlay(dc, *labels_, anchors_, state, state.zoom, visible);
        owner_.RefreshStatusTexts();
        DrawOutline(dc, state);
    } catch (const std::exception& error) {
        // A question or message now would paint again and fail again; the picture stays as far as it got.
        wxLogDebug("Painting failed: %s", error.what());
    }
}

}  // namespace Korvane

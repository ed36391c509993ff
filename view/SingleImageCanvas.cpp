#include "SingleImageCanvas.h"

#include <algorithm>
#include <cmath>

#include <wx/dcclient.h>
#include <wx/image.h>
#include <wx/log.h>

#include "OverlayGeometry.h"

namespace Korvane {

namespace {

wxColour PenColour(std::uint16_t currentLabel) {
    const qvox::Rgb8 colour = ToolColour(currentLabel);
    return wxColour(colour.r, colour.g, colour.b);
}

wxPoint PointOf(const Pixel& pixel) { return {static_cast<int>(pixel.x), static_cast<int>(pixel.y)}; }

void DrawContour(wxDC& dc, const std::vector<Pixel>& line, std::uint16_t label) {
    dc.SetPen(wxPen(PenColour(label), 1));
    dc.SetBrush(*wxTRANSPARENT_BRUSH);
    for (std::size_t i = 1; i < line.size(); ++i) dc.DrawLine(PointOf(line[i - 1]), PointOf(line[i]));
    dc.DrawPoint(PointOf(line.back()));
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
        const NumberPlace place = PlaceNumber(anchor, scale, {extent.x, extent.y});
        dc.SetTextForeground(*wxBLACK);
        dc.DrawText(text, place.shadow.x, place.shadow.y);
        dc.SetTextForeground(*wxWHITE);
        dc.DrawText(text, place.text.x, place.text.y);
    }
}

}  // namespace

SingleImageCanvas::SingleImageCanvas(wxWindow* parent, CanvasOwner& owner)
    : wxScrolled<wxPanel>(parent, wxID_ANY, wxDefaultPosition, wxSize(200, 200),
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
    grey_.Release();
    if (raw == nullptr || labels == nullptr) return;
    ConvertToGrey(*raw, grey_);
    raw_ = raw;
    labels_ = labels;
}

ViewState SingleImageCanvas::View() const {
    ViewState view;
    view.zoomLevel = owner_.StateOfCanvas().zoomLevel;
    const wxPoint start = GetViewStart();
    const wxSize client = GetClientSize();
    view.start = {start.x, start.y};
    view.client = {client.x, client.y};
    view.imageWidth = raw_ == nullptr ? 0 : raw_->SizeX();
    view.imageHeight = raw_ == nullptr ? 0 : raw_->SizeY();
    return view;
}

void SingleImageCanvas::ShowFromCorner() {
    const ClientSize size = VirtualSize(View());
    SetVirtualSize(size.width, size.height);
    Scroll(0, 0);
}

void SingleImageCanvas::Rescale(const ZoomChange& change) {
    if (raw_ == nullptr) return;
    SetVirtualSize(change.virtualSize.width, change.virtualSize.height);
    ScrollTo(change.start);
}

void SingleImageCanvas::ScrollTo(const ClientPoint& start) {
    // A negative target would mean "leave it" to the scrolled window.
    const ClientPoint shown = ClampStart(View(), start);
    Scroll(shown.x, shown.y);
}

ImagePoint SingleImageCanvas::ImagePointUnder(const wxPoint& pointer) const {
    return ClientToImage(View(), {pointer.x, pointer.y});
}

bool SingleImageCanvas::PointerInside() const { return wxRect(GetClientSize()).Contains(pointer_); }

void SingleImageCanvas::RefreshImagePart(const PixelRectangle& part) {
    if (owner_.StateOfCanvas().numbers == CanvasState::Numbers::kShown) {
        // Numbers far from the edit may have moved or gone.
        Refresh(false);
        return;
    }
    const ViewState view = View();
    const float zoom = ZoomFactor(view.zoomLevel);
    const auto window = [&](std::uint64_t at, float beside, int origin) {
        return static_cast<int>(std::floor((static_cast<float>(at) + beside) * zoom)) - origin;
    };
    // Contours change up to one pixel beside the edit.
    const wxPoint first(window(part.x, -1.0f, view.start.x) - 1, window(part.y, -1.0f, view.start.y) - 1);
    const wxPoint last(window(part.x + part.width, 1.0f, view.start.x) + 1,
                       window(part.y + part.height, 1.0f, view.start.y) + 1);
    RefreshRect(wxRect(first, last).Intersect(wxRect(GetClientSize())), false);
}

wxRect SingleImageCanvas::OutlineRectangle(const CanvasState& state) const {
    if (raw_ == nullptr || !PointerInside() || state.editing == nullptr) return {};
    const ToolOutline outline = OutlineAt(View(), *state.editing, {pointer_.x, pointer_.y});
    const auto reach = static_cast<int>(static_cast<float>(outline.radiusPx + 2) * ZoomFactor(state.zoomLevel)) + 3;
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
    const wxPoint start = GetViewStart();
    PaintView(grey_, *labels_, state.style, {start.x, start.y, ZoomFactor(state.zoomLevel)},
              {box.x, box.y, box.width, box.height}, painted_);
    static_assert(sizeof(qvox::Rgb8) == 3, "the painted rows are handed over as they are");
    const wxImage image(box.GetSize(), reinterpret_cast<unsigned char*>(painted_.begin()), true);
    dc.DrawBitmap(wxBitmap(image), box.GetPosition());
}

void SingleImageCanvas::DrawOverlay(wxDC& dc, const qvox::LabelImage& labels, const std::vector<LabelAnchor>& anchors,
                                    const CanvasState& state, float scale, const wxRect& visible) {
    dc.SetUserScale(static_cast<double>(scale), static_cast<double>(scale));
    if (state.editing != nullptr && !state.editing->contourPoints.empty()) {
        DrawContour(dc, ContourLine(*state.editing, labels), state.currentLabel);
    }
    if (state.numbers == CanvasState::Numbers::kHidden) return;
    dc.SetUserScale(1.0, 1.0);
    DrawNumbers(dc, anchors, scale, visible);
    dc.SetUserScale(static_cast<double>(scale), static_cast<double>(scale));
}

void SingleImageCanvas::DrawOutline(wxDC& dc, const CanvasState& state) {
    if (!PointerInside() || state.editing == nullptr) return;
    const ToolOutline outline = OutlineAt(View(), *state.editing, {pointer_.x, pointer_.y});
    dc.SetPen(wxPen(PenColour(state.currentLabel), 1));
    dc.SetBrush(*wxTRANSPARENT_BRUSH);
    dc.DrawCircle(PointOf(outline.centre), outline.radiusPx);
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
        static const std::vector<LabelAnchor> kNoAnchors;
        const bool numbers = state.numbers == CanvasState::Numbers::kShown;
        DoPrepareDC(dc);
        wxRect visible = box;
        visible.Offset(GetViewStart());
        DrawOverlay(dc, *labels_, numbers ? owner_.NumberAnchors() : kNoAnchors, state, ZoomFactor(state.zoomLevel),
                    visible);
        owner_.RefreshStatusTexts();
        DrawOutline(dc, state);
    } catch (const std::exception& error) {
        // A question or message now would paint again and fail again; the picture stays as far as it got.
        wxLogDebug("Painting failed: %s", error.what());
    }
}

}  // namespace Korvane

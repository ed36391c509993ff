#include "SingleImageCanvas.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

#include <wx/dcclient.h>
#include <wx/image.h>
#include <wx/log.h>
#include <wx/region.h>
#include <wx/utils.h>

#include "MarkPainter.h"
#include "OverlayGeometry.h"
#include "ScaleBar.h"

namespace Korvane {

namespace {

wxColour PenColour(std::uint16_t currentLabel) {
    const qvox::Rgb8 colour = ToolColour(currentLabel);
    return wxColour(colour.r, colour.g, colour.b);
}

wxPoint PointOf(const Pixel& pixel) { return {static_cast<int>(pixel.x), static_cast<int>(pixel.y)}; }

const wxColour kFrameOfMarks(kMarkColour.r, kMarkColour.g, kMarkColour.b);
const wxColour kRegionColour(0, 220, 255);

struct FrameStyle {
    wxColour colour;
    int gap;  ///< between the part and its frame
};

/// In pixels of the scaled image, so that its lines are as thick at every zoom. A bright line between black ones is
/// seen on every ground.
void DrawAround(wxDC& dc, const PixelRectangle& part, int zoomLevel, const FrameStyle& style) {
    const auto zoom = static_cast<double>(ZoomFactor(zoomLevel));
    const auto scaled = [zoom](std::uint64_t length) {
        return static_cast<int>(std::lround(static_cast<double>(length) * zoom));
    };
    wxRect frame(scaled(part.x), scaled(part.y), scaled(part.width), scaled(part.height));
    frame.Inflate(style.gap);
    dc.SetBrush(*wxTRANSPARENT_BRUSH);
    dc.SetPen(wxPen(*wxBLACK, 3));
    dc.DrawRectangle(frame);
    dc.SetPen(wxPen(style.colour, 1));
    dc.DrawRectangle(frame);
}

}  // namespace

SingleImageCanvas::SingleImageCanvas(wxWindow* parent, CanvasOwner& owner, qvox::PartRunner run)
    : wxScrolled<wxPanel>(parent, wxID_ANY, wxDefaultPosition, wxSize(200, 200),
                          wxHSCROLL | wxVSCROLL | wxWANTS_CHARS | wxFULL_REPAINT_ON_RESIZE),
      owner_(owner),
      run_(std::move(run)) {
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
    // What was scrolled would carry the scale bar with it.
    const auto scrolled = [this](wxScrollWinEvent& event) {
        event.Skip();
        if (owner_.StateOfCanvas().barPixelWidthNm > 0.0) CallAfter([this] { Refresh(false); });
    };
    for (const auto& type : {wxEVT_SCROLLWIN_THUMBTRACK, wxEVT_SCROLLWIN_THUMBRELEASE, wxEVT_SCROLLWIN_LINEUP,
                             wxEVT_SCROLLWIN_LINEDOWN, wxEVT_SCROLLWIN_PAGEUP, wxEVT_SCROLLWIN_PAGEDOWN}) {
        Bind(type, scrolled);
    }
    Bind(wxEVT_MOUSEWHEEL, [this](wxMouseEvent& event) {
        pointer_ = event.GetPosition();
        owner_.OnMouseWheel(event);
        RefreshOutline();
    });
    // Typed characters go to whatever has the focus and no further; a frame cannot have it, so they are handed on.
    Bind(wxEVT_CHAR, [this](wxKeyEvent& event) { owner_.OnChar(event); });
}

void SingleImageCanvas::SetImages(const qvox::VoxelImage<float>* raw, const qvox::LabelImage* labels) {
    raw_ = nullptr;
    labels_ = nullptr;
    ShowInstead(nullptr, nullptr);
    levels_ = {};
    wholeLevels_ = {};
    intensities_.reset();
    contours_.Forget();
    if (raw == nullptr || labels == nullptr) return;
    raw_ = raw;
    wholeLevels_ = GreyLevels(*raw, run_);
    SetLevels();
    labels_ = labels;
}

void SingleImageCanvas::ShowInstead(const GreyPicture* grey, const qvox::LabelImage* labels) {
    otherGrey_ = grey;
    otherLabels_ = labels;
}

const IntensityDistribution& SingleImageCanvas::Intensities() {
    if (!intensities_) intensities_.emplace(*raw_);
    return *intensities_;
}

void SingleImageCanvas::SetLevels() {
    if (IsWhole(range_)) {
        levels_ = wholeLevels_;
        return;
    }
    const IntensityDistribution& intensities = Intensities();
    levels_ = GreyLevels(*raw_, intensities.Percentile(range_.lowPercent), intensities.Percentile(range_.highPercent));
}

void SingleImageCanvas::SetDisplayRange(const DisplayRange& range) {
    if (range == range_) return;
    range_ = range;
    if (raw_ == nullptr) return;
    SetLevels();
    Refresh(false);
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

wxPoint SingleImageCanvas::PointerAnywhere() const {
    return PointerInside() ? pointer_ : ScreenToClient(wxGetMousePosition());
}

void SingleImageCanvas::RefreshImagePart(const PixelRectangle& part) {
    RefreshPixels(part);
    if (owner_.StateOfCanvas().numbers == CanvasState::Numbers::kHidden) return;
    const std::vector<LabelAnchor>& anchors = owner_.NumberAnchors();
    const wxPoint start = GetViewStart();
    const float zoom = ZoomFactor(owner_.StateOfCanvas().zoomLevel);
    for (const LabelAnchor& anchor : ChangedAnchors(shownAnchors_, anchors)) {
        wxRect number = overlay_.NumberRectangle(anchor, zoom, Density());
        number.Offset(-start);
        RefreshInside(number);
    }
    shownAnchors_ = anchors;
}

void SingleImageCanvas::RefreshPixels(const PixelRectangle& part) {
    if (part.width == 0 || part.height == 0) return;
    const ViewState view = View();
    const float zoom = ZoomFactor(view.zoomLevel);
    const auto window = [&](std::uint64_t at, float beside, int origin) {
        return static_cast<int>(std::floor((static_cast<float>(at) + beside) * zoom)) - origin;
    };
    // Contours change up to one pixel beside the edit.
    const wxPoint first(window(part.x, -1.0f, view.start.x), window(part.y, -1.0f, view.start.y));
    const wxPoint last(window(part.x + part.width, 1.0f, view.start.x),
                       window(part.y + part.height, 1.0f, view.start.y));
    wxRect rectangle(first, last);
    RefreshInside(rectangle.Inflate(2));
}

void SingleImageCanvas::RefreshInside(const wxRect& rectangle) {
    const wxRect client(GetClientSize());
    if (rectangle.Intersects(client)) RefreshRect(rectangle.Intersect(client), false);
}

int SingleImageCanvas::Density() const { return std::max(1, static_cast<int>(std::lround(GetContentScaleFactor()))); }

bool SingleImageCanvas::HasOutline(const CanvasState& state) const {
    return PointerInside() && state.editing != nullptr && state.outline == CanvasState::Outline::kShown;
}

ToolOutline SingleImageCanvas::OutlineUnderPointer(const CanvasState& state) const {
    ToolOutline outline = OutlineAt(View(), *state.editing, {pointer_.x, pointer_.y});
    if (state.pen == CanvasState::Pen::kMark) outline.radiusPx = state.editing->brushRadiusPx;
    return outline;
}

wxRect SingleImageCanvas::OutlineRectangle(const CanvasState& state) const {
    if (raw_ == nullptr || !HasOutline(state)) return {};
    const ToolOutline outline = OutlineUnderPointer(state);
    const auto reach = static_cast<int>(static_cast<float>(outline.radiusPx + 2) * ZoomFactor(state.zoomLevel)) + 3;
    wxRect around(pointer_, wxSize(1, 1));
    return around.Inflate(reach);
}

void SingleImageCanvas::RefreshOutline() {
    RefreshInside(drawnOutline_);
    drawnOutline_ = OutlineRectangle(owner_.StateOfCanvas());
    RefreshInside(drawnOutline_);
}

void SingleImageCanvas::OnMouse(wxMouseEvent& event) {
    pointer_ = event.Leaving() ? wxPoint(-1, -1) : event.GetPosition();
    if (event.LeftDown() || event.RightDown()) SetFocus();
    owner_.OnCanvasMouse(event);
    RefreshOutline();
    event.Skip(event.LeftDown());
}

void SingleImageCanvas::PaintRectangle(wxDC& dc, const wxRect& box, const CanvasState& state,
                                       const std::vector<LabelAnchor>& anchors) {
    const wxPoint start = GetViewStart();
    const int density = Density();
    const float zoom = ZoomFactor(state.zoomLevel);
    const GreyLevels grey = otherGrey_ != nullptr ? GreyLevels(*otherGrey_) : levels_;
    const qvox::LabelImage& labels = otherLabels_ != nullptr ? *otherLabels_ : *labels_;
    // In the pixels of the screen, of which there can be several to one of the window.
    const ViewPort port{start.x * density, start.y * density, zoom * static_cast<float>(density)};
    const WindowRectangle rectangle{box.x * density, box.y * density, box.width * density, box.height * density};
    if (otherLabels_ == nullptr && state.editing != nullptr && labels.SizeZ() == 1) {
        contours_.Use(labels, state.editing->census.Version());
        PaintView(grey, contours_, state.style, port, rectangle, painted_, run_);
    } else {
        PaintView(grey, labels, state.style, port, rectangle, painted_, run_);
    }
    if (state.handMarks != nullptr) PaintMarks(*state.handMarks, port, rectangle, painted_);
    overlay_.Draw(painted_, labels, anchors, state, {box.GetPosition() + start, zoom, density});
    static_assert(sizeof(qvox::Rgb8) == 3, "the painted rows are handed over as they are");
    const wxImage image(box.GetSize() * density, reinterpret_cast<unsigned char*>(painted_.begin()), true);
    dc.DrawBitmap(wxBitmap(image, wxBITMAP_SCREEN_DEPTH, density), box.GetPosition());
}

void SingleImageCanvas::PaintDamage(wxDC& dc, const CanvasState& state, const std::vector<LabelAnchor>& anchors) {
    const wxRect client(GetClientSize());
    for (wxRegionIterator damage(GetUpdateRegion()); damage; ++damage) {
        const wxRect box = damage.GetRect().Intersect(client);
        if (!box.IsEmpty()) PaintRectangle(dc, box, state, anchors);
    }
}

void SingleImageCanvas::DrawOutline(wxDC& dc, const CanvasState& state) {
    if (!HasOutline(state)) return;
    const ToolOutline outline = OutlineUnderPointer(state);
    const bool marks = state.pen == CanvasState::Pen::kMark;
    dc.SetPen(wxPen(marks ? kFrameOfMarks : PenColour(state.currentLabel), 1));
    dc.SetBrush(*wxTRANSPARENT_BRUSH);
    dc.DrawCircle(PointOf(outline.centre), outline.radiusPx);
}

/// In the corner of what is seen of the image, as long as the zoom makes it.
void SingleImageCanvas::DrawScaleBar(wxDC& dc, const CanvasState& state) const {
    if (!(state.barPixelWidthNm > 0.0)) return;
    const ViewState view = View();
    const ClientSize all = VirtualSize(view);
    const auto width = static_cast<std::uint64_t>(std::min(view.client.width, all.width));
    const auto height = static_cast<std::uint64_t>(std::min(view.client.height, all.height));
    const auto zoom = static_cast<double>(ZoomFactor(view.zoomLevel));
    const std::optional<ScaleBar> bar = PlaceScaleBar(width, height, state.barPixelWidthNm / zoom);
    if (!bar) return;
    wxRect shown(static_cast<int>(bar->bar.x), static_cast<int>(bar->bar.y), static_cast<int>(bar->bar.width),
                 static_cast<int>(bar->bar.height));
    dc.SetPen(*wxBLACK_PEN);
    dc.SetBrush(*wxWHITE_BRUSH);
    dc.DrawRectangle(wxRect(shown).Inflate(1));
    const wxString text = wxString::FromUTF8(bar->text);
    dc.SetFont(wxFontInfo(wxSize(0, bar->textHeightPx)).Bold());
    const wxSize extent = dc.GetTextExtent(text);
    const int rightmost = static_cast<int>(width) - extent.x - 2;
    const wxPoint place(std::min(shown.x + (shown.width - extent.x) / 2, rightmost),
                        shown.y - static_cast<int>(bar->textGap) - extent.y);
    dc.SetTextForeground(*wxBLACK);
    dc.DrawText(text, place + wxPoint(1, 1));
    dc.SetTextForeground(*wxWHITE);
    dc.DrawText(text, place);
}

void SingleImageCanvas::DrawFrame(wxDC& dc, const CanvasState& state) {
    if (state.framed.width == 0) return;
    constexpr int kGap = 4;
    DrawAround(dc, state.framed, state.zoomLevel, {*wxWHITE, kGap});
}

void SingleImageCanvas::DrawMarks(wxDC& dc, const CanvasState& state) {
    if (state.marks != nullptr) {
        constexpr int kGap = 2;
        for (const PixelRectangle& mark : *state.marks) DrawAround(dc, mark, state.zoomLevel, {kFrameOfMarks, kGap});
    }
    if (state.region.width > 0) DrawAround(dc, state.region, state.zoomLevel, {kRegionColour, 0});
    if (state.drawn.width > 0) DrawAround(dc, state.drawn, state.zoomLevel, {kRegionColour, 0});
}

void SingleImageCanvas::OnPaint(wxPaintEvent&) {
    wxPaintDC dc(this);
    owner_.OnCanvasPainted();
    if (raw_ == nullptr) {
        dc.SetBackground(wxBrush(wxColour(kViewBackground.r, kViewBackground.g, kViewBackground.b)));
        dc.Clear();
        return;
    }
    try {
        const CanvasState state = owner_.StateOfCanvas();
        if (state.numbers == CanvasState::Numbers::kShown) {
            shownAnchors_ = owner_.NumberAnchors();
        } else {
            shownAnchors_.clear();
        }
        PaintDamage(dc, state, shownAnchors_);
        owner_.RefreshStatusTexts();
        DrawScaleBar(dc, state);
        DoPrepareDC(dc);
        DrawMarks(dc, state);
        DrawFrame(dc, state);
        const auto zoom = static_cast<double>(ZoomFactor(state.zoomLevel));
        dc.SetUserScale(zoom, zoom);
        DrawOutline(dc, state);
        // The zoom, the radius or the mode may have changed since the pointer moved; and a paint can come between a
        // movement and RefreshOutline, of a part that leaves the old outline where it is.
        const wxRect all(GetClientSize());
        const bool painted = GetUpdateRegion().Contains(drawnOutline_.Intersect(all)) == wxInRegion;
        const wxRect drawn = OutlineRectangle(state);
        drawnOutline_ = painted || drawnOutline_.IsEmpty() ? drawn : drawn.Union(drawnOutline_);
    } catch (const std::exception& error) {
        // A question or message now would paint again and fail again; the painted image stays as far as it got.
        wxLogDebug("Painting failed: %s", error.what());
    }
}

}  // namespace Korvane

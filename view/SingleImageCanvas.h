#pragma once

#include <vector>

#include <wx/dc.h>
#include <wx/panel.h>
#include <wx/scrolwin.h>

#include "CanvasOwner.h"
#include "LabelPainter.h"
#include "ViewPainter.h"

namespace Korvane {

/// The panel that shows the current position: grey levels, labels, their numbers, the contour being drawn and the
/// outline of the brush. It keeps no document; images are pointed at and must outlive their being shown.
class SingleImageCanvas : public wxScrolled<wxPanel> {
public:
    SingleImageCanvas(wxWindow* parent, CanvasOwner& owner);

    /// Shows an image with its labels; null for both shows nothing. The grey levels are worked out here, once.
    void SetImages(const qvox::VoxelImage<float>* raw, const qvox::LabelImage* labels);
    bool HasImage() const { return raw_ != nullptr; }

    /// What is shown now.
    ViewState View() const;

    /// Fits the scrolled area to the image at the zoom level and shows its top left corner.
    void ShowFromCorner();

    /// Fits the scrolled area to a change of zoom that was worked out from View().
    void Rescale(const ZoomChange& change);

    /// Scrolls as far towards a start as there is something to show.
    void ScrollTo(const ClientPoint& start);

    ImagePoint ImagePointUnder(const wxPoint& pointer) const;

    /// The pointer in window pixels, as last heard of; outside the client area when it left.
    wxPoint Pointer() const { return pointer_; }
    bool PointerInside() const;

    /// Repaints what an edit of this rectangle of the image changed.
    void RefreshImagePart(const PixelRectangle& part);
    /// Repaints the outline where it was and where it is.
    void RefreshOutline();

    /// Draws over a painted picture whose pixels are `scale` wide: the contour being drawn and the numbers.
    static void DrawOverlay(wxDC& dc, const qvox::LabelImage& labels, const std::vector<LabelAnchor>& anchors,
                            const CanvasState& state, float scale, const wxRect& visible);

private:
    void OnPaint(wxPaintEvent& event);
    void OnMouse(wxMouseEvent& event);
    void PaintPicture(wxDC& dc, const wxRect& box, const CanvasState& state);
    void DrawOutline(wxDC& dc, const CanvasState& state);
    wxRect OutlineRectangle(const CanvasState& state) const;

    CanvasOwner& owner_;
    const qvox::VoxelImage<float>* raw_ = nullptr;
    const qvox::LabelImage* labels_ = nullptr;
    GreyPicture grey_;
    ColourPicture painted_;
    wxPoint pointer_{-1, -1};
    wxRect drawnOutline_;
};

}  // namespace Korvane

#pragma once

#include <vector>

#include <wx/dc.h>
#include <wx/panel.h>
#include <wx/scrolwin.h>

#include "CanvasOwner.h"
#include "LabelPainter.h"
#include "ViewPainter.h"

namespace Korvane {

/// The panel that shows the current position: grey levels, labels, their numbers, the contour being drawn and the outline
/// of the brush. It keeps no document; images are pointed at and must outlive their being shown.
class SingleImageCanvas : public wxScrolled<wxPanel> {
public:
    SingleImageCanvas(wxWindow* parent, CanvasOwner& owner);

    /// Shows an image with its labels; null for both shows nothing. The grey levels are worked out here, once.
    void SetImages(const qvox::VoxelImage<float>* raw, const qvox::LabelImage* labels);
    bool HasImage() const { return raw_ != nullptr; }

    /// To be called after the label image changed: where the numbers stand is worked out again when they are next drawn.
    void LabelsChanged() { anchorsKnown_ = AnchorsKnown::kNo; }

    /// Fits the scrolled area to the image at a zoom factor and shows its top left corner.
    void ShowFromCorner(float zoom);

    /// After the zoom factor changed: fits the scrolled area and keeps the image point under the pointer, or in the
    /// middle of the view when the pointer is elsewhere, where it is.
    void Rescale(float oldZoom, float newZoom);

    void ScrollBy(int dx, int dy);

    /// The pointer in window pixels, as last heard of; outside the client area when it left.
    wxPoint Pointer() const { return pointer_; }
    bool PointerInside() const;

    /// Scroll position in window pixels.
    wxPoint ViewStartPixels() const;

    /// Repaints what an edit of this rectangle of the image changed.
    void RefreshImagePart(std::int64_t left, std::int64_t top, std::int64_t right, std::int64_t bottom);
    /// Repaints the outline where it was and where it is.
    void RefreshOutline();

    /// Draws over a painted picture whose pixels are `scale` wide: the contour being drawn and the numbers.
    static void DrawOverlay(wxDC& dc, const qvox::LabelImage& labels, const std::vector<LabelAnchor>& anchors,
                            const CanvasState& state, float scale, const wxRect& visible);

private:
    enum class AnchorsKnown { kNo, kYes };

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
    std::vector<LabelAnchor> anchors_;
    AnchorsKnown anchorsKnown_ = AnchorsKnown::kNo;
    wxPoint pointer_{-1, -1};
    wxRect drawnOutline_;
};

}  // namespace Korvane

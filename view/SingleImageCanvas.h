#pragma once

#include <optional>
#include <vector>

#include <wx/dc.h>
#include <wx/panel.h>
#include <wx/scrolwin.h>

#include "CanvasOwner.h"
#include "ContourIndex.h"
#include "DisplayRange.h"
#include "GreyLevels.h"
#include "LabelPainter.h"
#include "OverlayDrawing.h"
#include "OverlayGeometry.h"
#include "ViewPainter.h"
#include "operations/PartRunner.h"

namespace Korvane {

/// The panel that shows the current position: grey levels, labels, their numbers, the contour being drawn and the
/// outline of the brush. It keeps no document; images are pointed at and must outlive their being shown.
class SingleImageCanvas : public wxScrolled<wxPanel> {
public:
    /// `run`: for the parts of a picture that is painted.
    SingleImageCanvas(wxWindow* parent, CanvasOwner& owner, qvox::PartRunner run);

    /// Shows an image with its labels; null for both shows nothing. Takes one look at all of the image.
    void SetImages(const qvox::VoxelImage<float>* raw, const qvox::LabelImage* labels);
    /// The intensities shown from black to white, now and of later images. The first range of an image that is not the
    /// whole one costs two looks at all of it.
    void SetDisplayRange(const DisplayRange& range);
    /// Of the image shown, counted once. Only while there is one.
    const IntensityDistribution& Intensities();
    bool HasImage() const { return raw_ != nullptr; }
    /// Shows grey levels and labels of the image's sizes in place of its own, which come back for null and whenever
    /// other images are shown. Both must outlive that.
    void ShowInstead(const GreyPicture* grey, const qvox::LabelImage* labels);

    /// What is shown now.
    ViewState View() const;

    /// Fits the scrolled area to the image at the zoom level and shows its top left corner.
    void ShowFromCorner();

    /// Fits the scrolled area to a change of zoom that was worked out from View().
    void Rescale(const ZoomChange& change);

    /// Scrolls as far towards a start as there is something to show.
    void ScrollTo(const ClientPoint& start);

    ImagePoint ImagePointUnder(const wxPoint& pointer) const;

    /// The pointer in window pixels, as last reported; outside the client area when it left.
    wxPoint Pointer() const { return pointer_; }
    bool PointerInside() const;
    /// The same, but outside the client area where the pointer is by what the display says now.
    wxPoint PointerAnywhere() const;

    /// Repaints what an edit of this rectangle of the image changed: the rectangle, contours beside it, and the numbers
    /// that it moved.
    void RefreshImagePart(const PixelRectangle& part);
    /// Repaints a rectangle of the image, and one pixel of the image around it.
    void RefreshPixels(const PixelRectangle& part);
    /// Repaints the outline where it was and where it is.
    void RefreshOutline();

private:
    void SetLevels();
    void OnPaint(wxPaintEvent& event);
    void OnMouse(wxMouseEvent& event);
    void PaintDamage(wxDC& dc, const CanvasState& state, const std::vector<LabelAnchor>& anchors);
    void PaintRectangle(wxDC& dc, const wxRect& box, const CanvasState& state, const std::vector<LabelAnchor>& anchors);
    void RefreshInside(const wxRect& rectangle);
    int Density() const;
    void DrawOutline(wxDC& dc, const CanvasState& state);
    void DrawScaleBar(wxDC& dc, const CanvasState& state) const;
    static void DrawFrame(wxDC& dc, const CanvasState& state);
    static void DrawMarks(wxDC& dc, const CanvasState& state);
    bool HasOutline(const CanvasState& state) const;
    ToolOutline OutlineUnderPointer(const CanvasState& state) const;
    wxRect OutlineRectangle(const CanvasState& state) const;

    CanvasOwner& owner_;
    qvox::PartRunner run_;
    const qvox::VoxelImage<float>* raw_ = nullptr;
    const qvox::LabelImage* labels_ = nullptr;
    const GreyPicture* otherGrey_ = nullptr;
    const qvox::LabelImage* otherLabels_ = nullptr;
    GreyLevels wholeLevels_;
    GreyLevels levels_;
    std::optional<IntensityDistribution> intensities_;
    DisplayRange range_;
    ContourIndex contours_;
    ColourPicture painted_;
    OverlayDrawing overlay_;
    std::vector<LabelAnchor> shownAnchors_;  ///< of the numbers on the screen
    wxPoint pointer_{-1, -1};
    wxRect drawnOutline_;
};

}  // namespace Korvane

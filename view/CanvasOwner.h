#pragma once

#include <cstdint>
#include <vector>

#include <wx/event.h>

#include "HandMarks.h"
#include "LabelEditing.h"
#include "LabelPainter.h"
#include "VoxelImage.h"

namespace Korvane {

/// The state that the canvas queries from its window, at the moment of painting.
struct CanvasState {
    LabelStyle style = LabelStyle::kContours;
    enum class Numbers { kHidden, kShown } numbers = Numbers::kHidden;
    int zoomLevel = 0;
    std::uint16_t currentLabel = 1;
    PixelRectangle framed;                  ///< drawn a frame around, unless its width is 0
    const std::vector<PixelRectangle>* marks = nullptr;  ///< outlined as not part of the specimen; null: none
    const HandMarks* handMarks = nullptr;   ///< painted in the same colour; null: none
    PixelRectangle region;                  ///< outlined as the part that is analysed, unless its width is 0
    PixelRectangle drawn;                   ///< the same for what the pointer draws just now
    double barPixelWidthNm = 0.0;           ///< of the scale bar; 0: none is drawn
    enum class Outline { kShown, kHidden } outline = Outline::kShown;  ///< of the tool under the pointer
    enum class Pen { kLabel, kMark } pen = Pen::kLabel;  ///< the brush that marks has its own colour and no contour
    const EditingState* editing = nullptr;  ///< null where neither outline nor open contour is to be drawn
};

/// The window around the canvas: holds everything that is not a matter of drawing, and receives the canvas's input.
class CanvasOwner {
public:
    virtual ~CanvasOwner() = default;

    virtual CanvasState StateOfCanvas() const = 0;
    /// Where the numbers of the labels shown stand.
    virtual const std::vector<LabelAnchor>& NumberAnchors() = 0;
    virtual void RefreshStatusTexts() = 0;
    virtual void OnCanvasPainted() = 0;
    virtual void OnCanvasMouse(wxMouseEvent& event) = 0;
    virtual void OnMouseWheel(wxMouseEvent& event) = 0;
    virtual void OnChar(wxKeyEvent& event) = 0;
};

}  // namespace Korvane

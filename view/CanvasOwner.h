#pragma once

#include <cstdint>
#include <vector>

#include <wx/event.h>

#include "LabelPainter.h"
#include "VoxelImage.h"

namespace Korvane {

/// What the canvas asks of the window that it lies in, as it stands at the moment of painting.
struct CanvasState {
    LabelStyle style = LabelStyle::kContours;
    enum class Numbers { kHidden, kShown } numbers = Numbers::kHidden;
    float zoom = 1.0f;
    std::uint16_t currentLabel = 1;
    int outlineRadius = 10;                                      ///< of the outline under the pointer, image pixels
    const std::vector<std::uint64_t>* contourPoints = nullptr;  ///< linear indices into the label image; may be empty
};

/// The window around the canvas: holds everything that is not a matter of drawing, and hears the canvas's input.
class CanvasOwner {
public:
    virtual ~CanvasOwner() = default;

    virtual CanvasState StateOfCanvas() const = 0;
    virtual void RefreshStatusTexts() = 0;
    virtual void OnCanvasPainted() = 0;
    virtual void OnCanvasMouse(wxMouseEvent& event) = 0;
    virtual void OnMouseWheel(wxMouseEvent& event) = 0;
    virtual void OnChar(wxKeyEvent& event) = 0;
};

}  // namespace Korvane

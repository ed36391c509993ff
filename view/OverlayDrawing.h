#pragma once

#include <cstdint>
#include <unordered_map>
#include <vector>

#include <wx/gdicmn.h>

#include "CanvasOwner.h"
#include "LabelPainter.h"
#include "NumberPainter.h"

namespace Korvane {

/// Which part of a scaled image a painted picture is.
struct OverlayPort {
    wxPoint corner;     ///< of the picture, in window pixels from the corner of the scaled image
    float zoom = 1.0f;  ///< window pixels per image pixel
    int density = 1;    ///< picture pixels per window pixel
};

/// Draws over a painted picture what a view shows above the labels: the contour being drawn, then the numbers. Texts
/// are kept from call to call.
class OverlayDrawing {
public:
    void Draw(ColourPicture& picture, const qvox::LabelImage& labels, const std::vector<LabelAnchor>& anchors,
              const CanvasState& state, const OverlayPort& port);

    /// What the number of a label covers, in window pixels from the corner of the scaled image.
    wxRect NumberRectangle(const LabelAnchor& anchor, float zoom, int density);

private:
    const TextMask& MaskOf(std::uint16_t label, int density);

    std::unordered_map<std::uint16_t, TextMask> masks_;  ///< by label
    int density_ = 1;                                    ///< of the masks
};

}  // namespace Korvane

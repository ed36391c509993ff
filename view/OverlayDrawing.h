#pragma once

#include <cstdint>
#include <unordered_map>
#include <vector>

#include <wx/gdicmn.h>

#include "CanvasOwner.h"
#include "LabelPainter.h"
#include "NumberPainter.h"

namespace Korvane {

/// The part of a scaled image that a painted image shows.
struct OverlayPort {
    wxPoint corner;     ///< of the part, in window pixels from the corner of the scaled image
    float zoom = 1.0f;  ///< window pixels per image pixel
    int density = 1;    ///< painted pixels per window pixel
};

/// Draws everything that a view shows above the labels over a painted image: the contour being drawn, then the numbers.
/// Texts are kept from call to call.
class OverlayDrawing {
public:
    void Draw(ColourPicture& painted, const qvox::LabelImage& labels, const std::vector<LabelAnchor>& anchors,
              const CanvasState& state, const OverlayPort& port);

    /// The rectangle that the number of a label covers, in window pixels from the corner of the scaled image.
    wxRect NumberRectangle(const LabelAnchor& anchor, float zoom, int density);

private:
    const TextMask& MaskOf(std::uint16_t label, int density);

    std::unordered_map<std::uint16_t, TextMask> masks_;  ///< by label
    int density_ = 1;                                    ///< of the masks
};

}  // namespace Korvane

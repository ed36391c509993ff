#pragma once

#include <cstdint>
#include <vector>

#include "LabelPainter.h"
#include "ViewTransform.h"

namespace Korvane {

/// A text as the window toolkit draws it once, to be painted again and again without it.
struct TextMask {
    int width = 0;  ///< pixels
    int height = 0;
    int margin = 0;                      ///< pixels around the text's own extent, for strokes that reach out of it
    ClientSize extent;                   ///< of the text, in window pixels
    std::vector<std::uint8_t> coverage;  ///< row by row, red, green and blue of each pixel: 0 none .. 255 all of it
};

/// Paints a text whose corner (without the margin) lies at (x, y) of the painted image, clipped to it.
/// Each channel becomes coverage * colour + (255 - coverage) * before, over 255, rounded.
void StampText(ColourPicture& painted, std::int64_t x, std::int64_t y, const TextMask& mask, const qvox::Rgb8& colour);

/// The anchors of one list that the other does not have at the same place, and the other way round: where numbers have
/// to be painted again. Both lists ascend by label. One pass.
std::vector<LabelAnchor> ChangedAnchors(const std::vector<LabelAnchor>& before, const std::vector<LabelAnchor>& after);

}  // namespace Korvane

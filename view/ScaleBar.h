#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "LabelPainter.h"
#include "NumberPainter.h"

namespace Korvane {

/// A scale bar in the lower right corner of an image.
struct ScaleBar {
    double lengthNm = 0.0;
    std::string text;          ///< "200 nm", "1 \xC2\xB5m"
    PixelRectangle bar;        ///< white, with a black frame of one pixel around it
    int textHeightPx = 0;      ///< of the font, for the size of the image
    std::int64_t textGap = 0;  ///< between text and bar
};

/// The bar for an image of these sizes: 1, 2 or 5 times a power of ten nanometres, the longest of at most a quarter of
/// the width. None where the pixel size is undefined, or the image has no room for a bar of four pixels.
std::optional<ScaleBar> PlaceScaleBar(std::uint64_t width, std::uint64_t height, double pixelWidthNm);

/// Paints the bar, with its text centred above it.
void PaintScaleBar(ColourPicture& painted, const ScaleBar& bar, const TextMask& text);

}  // namespace Korvane

#pragma once

#include <cstdint>
#include <vector>

#include "LabelEditing.h"
#include "LabelPainter.h"
#include "ViewTransform.h"

namespace Korvane {

/// The pen of the tools: the current label's colour, white for 0.
qvox::Rgb8 ToolColour(std::uint16_t currentLabel);

/// The circle under the pointer, in image coordinates.
struct ToolOutline {
    Pixel centre;
    int radiusPx = 0;  ///< the brush's, 1 in contour mode
};
ToolOutline OutlineAt(const ViewState& view, const EditingState& state, const ClientPoint& pointer);

/// The voxels that the contour being drawn leads through, in order; the last one is drawn as a point as well.
std::vector<Pixel> ContourLine(const EditingState& state, const qvox::LabelImage& labels);

/// The rectangle of the last piece of the contour being drawn: of its last two points, or its only one; of width 0
/// without points.
PixelRectangle ContourTip(const EditingState& state, const qvox::LabelImage& labels);

/// Where a label's number is written, in pixels of the scaled image.
struct NumberPlace {
    ClientPoint shadow;  ///< black, first
    ClientPoint text;    ///< white, one pixel to the left and above
};

/// Centres a text of the given extent on an anchor; halves of the extent are rounded down, coordinates truncated.
NumberPlace PlaceNumber(const LabelAnchor& anchor, float scale, const ClientSize& extent);

/// The smallest rectangle with all voxels of a label; of width 0 when there are none. One pass.
PixelRectangle BoxOfLabel(const qvox::LabelImage& labels, std::uint16_t label);

/// The largest zoom level at which a part of the image takes at most half of the client area each way.
int ZoomLevelFor(const PixelRectangle& part, const ViewState& view);

/// Where the view must start for the part to be in its middle, not clamped.
ClientPoint StartCentring(const PixelRectangle& part, const ViewState& view);

}  // namespace Korvane

#pragma once

#include <cstdint>

#include "HandMarks.h"
#include "ViewPainter.h"

namespace Korvane {

/// Of marks by hand and of the frames around those that were found.
inline constexpr qvox::Rgb8 kMarkColour{255, 200, 0};

/// Paints marks over a rectangle of a view that PaintView painted: their outline in kMarkColour, and what they cover
/// half in it. An outline is one window pixel wide at every zoom. Costs nothing where the rectangle shows no marks.
void PaintMarks(const HandMarks& marks, const ViewPort& port, const WindowRectangle& rectangle, ColourPicture& painted);

}  // namespace Korvane

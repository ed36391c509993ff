#pragma once

#include "LabelPainter.h"

namespace korvane_test {

/// A rectangle of the screen as it is at this moment, from the display itself: the drawing library keeps what it once
/// read.
Korvane::ColourPicture ReadScreen(int x, int y, unsigned width, unsigned height);

}  // namespace korvane_test

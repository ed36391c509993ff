#pragma once

#include <vector>

#include "bits/Pixels.h"

namespace level_sweep {

/// The pixels that a dilation with an elliptic element of size x size pixels, size >= 0, sets around a single pixel at
/// (0, 0): the element reflected about its anchor (size / 2, size / 2). Rows without pixels are left out. The element
/// is OpenCV's (getStructuringElement, MORPH_ELLIPSE), rounding included.
std::vector<PixelRun> ReflectedEllipticElement(int size);

}  // namespace level_sweep

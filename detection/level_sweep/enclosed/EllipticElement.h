#pragma once

#include <vector>

namespace level_sweep {

/// Columns dx0 to dx1, both included, of the row dy, relative to an anchor.
struct RowSpan {
    int dy;
    int dx0;
    int dx1;
};

/// The pixels that a dilation with an elliptic element of size x size pixels, size >= 0, sets around a single pixel:
/// the element reflected about its anchor (size / 2, size / 2). Rows without pixels are left out. The element is
/// OpenCV's (getStructuringElement, MORPH_ELLIPSE), rounding included.
std::vector<RowSpan> ReflectedEllipticElement(int size);

}  // namespace level_sweep

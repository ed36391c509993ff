#pragma once

#include <algorithm>

#include "bits/Word.h"

namespace level_sweep {

struct PixelPosition {
    int x;
    int y;
};

/// The word of row y whose westernmost pixel is at x = 64 * column.
struct WordPosition {
    int column;
    int y;
};

/// Pixels of one word; Grid (BitGrid, ColumnGrid) gives the meaning of its index.
template <typename Grid>
struct WordPixels {
    typename Grid::WordIndex word = 0;
    Word pixels = 0;
};

/// Pixels of one row from column x0 to column x1, both included.
struct PixelRun {
    int y;
    int x0;
    int x1;
};

/// A rectangle of pixels, all four sides included. Empty when x1 < x0.
struct PixelBox {
    int x0 = 0;
    int y0 = 0;
    int x1 = -1;
    int y1 = -1;

    void Include(const PixelRun& run) {
        if (x1 < x0) {
            *this = PixelBox{run.x0, run.y, run.x1, run.y};
            return;
        }
        x0 = std::min(x0, run.x0);
        x1 = std::max(x1, run.x1);
        y0 = std::min(y0, run.y);
        y1 = std::max(y1, run.y);
    }
    /// Extends each side by `margin` pixels, but not beyond a map of this size.
    void Grow(int margin, int width, int height) {
        x0 = std::max(x0 - margin, 0);
        y0 = std::max(y0 - margin, 0);
        x1 = std::min(x1 + margin, width - 1);
        y1 = std::min(y1 + margin, height - 1);
    }
    int Width() const { return x1 - x0 + 1; }
    int Height() const { return y1 - y0 + 1; }
};

}  // namespace level_sweep

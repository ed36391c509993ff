#pragma once

#include <array>

#include "bits/Word.h"

namespace level_sweep {

/// Erosion of rows of 64 pixels: an erosion removes the pixels that share a side with one that is not set.
namespace TileErosion {

constexpr int kSide = 64;
constexpr int kMostMargin = kSide - 1;

/// Rows of one word, from index 1 on: a tile, and up to kMostMargin rows more above and below. The row before the first
/// and the one after the last count as set and stay so.
using Column = std::array<Word, kSide + 2 * kMostMargin + 2>;

/// A column between its two neighbours; pixels west and east of these count as set.
struct Window {
    Column west, centre, east;
};

/// Sets the row before the first and the one after the last of `rows` rows.
void Enclose(Column& column, int rows);
void Enclose(Window& window, int rows);

/// One erosion of the rows of a column as if all pixels around it were set, and of a window. `to` is another object
/// that is enclosed.
void Erode(const Column& from, Column& to, int rows);
void Erode(const Window& from, Window& to, int rows);

/// The union of some rows, and of their intersections with other rows.
Word AnyOf(const Word* rows, int count);
Word AnyOfBoth(const Word* rows, const Word* others, int count);

}  // namespace TileErosion
}  // namespace level_sweep

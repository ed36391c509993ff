#pragma once

#include <array>

#include "bits/BitGrid.h"

namespace level_sweep {

/// Erosion of rows of 64 pixels: each takes the pixels away that share a side with one that is not set.
namespace TileErosion {

using Word = BitGrid::Word;
constexpr int kSide = 64;
constexpr int kMostMargin = kSide - 1;

/// Rows of one word, from index 1 on: a tile, and up to kMostMargin rows more above and below. The row before the first
/// and the one after the last count as set and stay so.
using Column = std::array<Word, kSide + 2 * kMostMargin + 2>;

/// A column between those beside it; what is beyond these counts as set.
struct Window {
    Column west, centre, east;
};

/// Makes the rows around `rows` rows set.
void Enclose(Column& column, int rows);
void Enclose(Window& window, int rows);

/// One erosion of the rows of a column as if all around it were set, and of a window. `to` is another, enclosed.
void Erode(const Column& from, Column& to, int rows);
void Erode(const Window& from, Window& to, int rows);

/// All pixels of some rows, and those that are in others as well, put into one.
Word AnyOf(const Word* rows, int count);
Word AnyOfBoth(const Word* rows, const Word* others, int count);

}  // namespace TileErosion
}  // namespace level_sweep

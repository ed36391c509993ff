#include "skeleton/BlockGrid.h"

namespace level_sweep {

BlockGrid::BlockGrid(int width, int height)
    : height_(height),
      columns_((width + 63) / 64),
      rows_((height + kBlockRows - 1) / kBlockRows),
      lastBeyond_(width % 64 == 0 ? 0 : ~Word{0} << (width % 64)) {}

// Of the word in row y of a column of words.
BlockGrid::Word BlockGrid::WordBeyond(int column, int y) const {
    if (y < 0 || y >= height_ || column < 0 || column >= columns_) {
        return ~Word{0};
    }
    return column == columns_ - 1 ? lastBeyond_ : 0;
}

PixelBlock BlockGrid::BeyondIn(std::int32_t block) const {
    PixelBlock beyond;
    for (int i = 0; i < kBlockRows; ++i) {
        beyond[static_cast<std::size_t>(i)] = WordBeyond(ColumnOf(block), FirstRowOf(block) + i);
    }
    return beyond;
}

BlockSurroundings BlockGrid::BeyondAround(std::int32_t block) const {
    BlockSurroundings beyond;
    const int column = ColumnOf(block);
    int y = FirstRowOf(block) - static_cast<int>(BlockSurroundings::kReach);
    for (std::size_t i = 0; i < BlockSurroundings::kRows; ++i, ++y) {
        beyond.west[i] = WordBeyond(column - 1, y);
        beyond.centre[i] = WordBeyond(column, y);
        beyond.east[i] = WordBeyond(column + 1, y);
    }
    return beyond;
}

}  // namespace level_sweep

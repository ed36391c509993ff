#pragma once

#include <cstddef>
#include <cstdint>

#include "skeleton/PixelBlock.h"

namespace level_sweep {

/// The layout of an image in blocks of 64 x 8 pixels, row by row. Every block of the image has eight adjacent blocks:
/// one more row of blocks lies above and below, and one more block at the sides of each row, shared by the east end of
/// a row and the west end of the next.
class BlockGrid {
public:
    using Word = PixelBlock::Word;
    BlockGrid(int width, int height);

    std::size_t Blocks() const { return static_cast<std::size_t>(rows_ + 2) * static_cast<std::size_t>(Stride()) + 1; }
    int Rows() const { return rows_; }
    int Columns() const { return columns_; }
    /// From a block to the one south of it.
    std::int32_t Stride() const { return columns_ + 1; }
    std::int32_t BlockAt(int row, int column) const { return (row + 1) * Stride() + column + 1; }
    /// The column in pixels of a block's leftmost pixels, and the row of its topmost ones.
    int FirstXOf(std::int32_t block) const { return ColumnOf(block) * 64; }
    int FirstRowOf(std::int32_t block) const { return RowOf(block) * kBlockRows; }

    /// Calls visit(block) for every block, those beyond the image included.
    template <typename Visit>
    void ForEachBlock(Visit visit) const {
        for (std::int32_t block = 0; block < static_cast<std::int32_t>(Blocks()); ++block) {
            visit(block);
        }
    }

    /// Whether pixels of a block belong to the image.
    bool IsInside(std::int32_t block) const {
        return RowOf(block) >= 0 && RowOf(block) < rows_ && ColumnOf(block) >= 0;
    }
    /// Whether pixels of a block, or pixels adjacent to it, lie beyond the image.
    bool IsAtBorder(std::int32_t block) const {
        return RowOf(block) <= 0 || RowOf(block) >= rows_ - 1 || ColumnOf(block) <= 0 ||
               ColumnOf(block) == columns_ - 1;
    }
    /// The pixels of a block that lie beyond the image.
    PixelBlock BeyondIn(std::int32_t block) const;
    /// The same for the surroundings of a block of the image.
    BlockSurroundings BeyondAround(std::int32_t block) const;

private:
    int RowOf(std::int32_t block) const { return block / Stride() - 1; }
    int ColumnOf(std::int32_t block) const { return block % Stride() - 1; }
    Word WordBeyond(int column, int y) const;

    int height_;
    int columns_;
    int rows_;
    Word lastBeyond_;  // of a word of the last column, the pixels beyond the image
};

}  // namespace level_sweep

#pragma once

#include <cstddef>

#include "skeleton/BlockSides.h"

namespace level_sweep {

/// The pixels up to three away from given ones, in a block and up to two pixels beyond it. West and east of the block
/// and beyond its corners it is only known whether any pixel is near; then all pixels there count as near.
class BlockNeighbourhood {
public:
    using Word = PixelBlock::Word;

    /// Of given pixels of a block and of its surroundings.
    void Find(const BlockSurroundings& pixels);

    /// Whether some pixels are near. rowsAt(rows, columns): those of the block that many blocks further south and east,
    /// indexed by row.
    template <typename RowsAt>
    bool AnyOf(RowsAt rowsAt) const;

private:
    PixelBlock here_;
    Word north_, south_;  // near pixels of the two rows there
    unsigned sides_;      // where pixels beyond the block are near
};

template <typename RowsAt>
bool BlockNeighbourhood::AnyOf(RowsAt rowsAt) const {
    const auto allRows = [](const auto& rows) {
        Word all = 0;
        for (std::size_t i = 0; i < std::size_t{kBlockRows}; ++i) {
            all |= rows[i];
        }
        return all;
    };
    const auto& rowsHere = rowsAt(0, 0);
    Word any = 0;
    for (std::size_t i = 0; i < here_.rows.size(); ++i) {
        any |= rowsHere[i] & here_[i];
    }
    const auto at = [&](BlockSide side) { return (sides_ & side) != 0; };
    any |= at(kNorth) ? BottomRows(rowsAt(-1, 0)) & north_ : 0;
    any |= at(kSouth) ? TopRows(rowsAt(1, 0)) & south_ : 0;
    any |= at(kWest) ? allRows(rowsAt(0, -1)) & kLastColumns : 0;
    any |= at(kEast) ? allRows(rowsAt(0, 1)) & kFirstColumns : 0;
    any |= at(kNorthWest) ? BottomRows(rowsAt(-1, -1)) & kLastColumns : 0;
    any |= at(kNorthEast) ? BottomRows(rowsAt(-1, 1)) & kFirstColumns : 0;
    any |= at(kSouthWest) ? TopRows(rowsAt(1, -1)) & kLastColumns : 0;
    any |= at(kSouthEast) ? TopRows(rowsAt(1, 1)) & kFirstColumns : 0;
    return any != 0;
}

}  // namespace level_sweep

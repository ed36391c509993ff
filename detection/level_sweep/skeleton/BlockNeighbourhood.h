#pragma once

#include <cstddef>

#include "skeleton/BlockSides.h"

namespace level_sweep {

/// What is up to three pixels away from given ones, in a strip and up to two pixels beyond it. To the west and east of
/// the strip and beyond its corners it is only known whether there is something near; all of it counts then.
class BlockNeighbourhood {
public:
    using Word = PixelBlock::Word;

    /// Given: pixels of the strip and of what lies around it.
    void Find(const BlockSurroundings& pixels);

    /// Whether some pixels are near. rowsAt(rows, columns) gives those of the strip that many rows and columns of
    /// strips away, to be asked for each of its rows by [].
    template <typename RowsAt>
    bool AnyOf(RowsAt rowsAt) const;

private:
    PixelBlock here_;
    Word north_, south_;  // of the two rows there
    unsigned sides_;      // where anything beyond the strip is near
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

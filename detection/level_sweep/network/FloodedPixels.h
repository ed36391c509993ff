#pragma once

#include <cstddef>
#include <cstdint>

#include "bits/BitGrid.h"
#include "bits/ZeroedArray.h"
#include "network/FloodMarks.h"
#include "network/PieceTiles.h"

namespace level_sweep {

/// The pixels that the floods of a component reached, tile by tile. A tile with the same pieces flooded as the last
/// time keeps its rows.
///
/// Invariant: the rows of a tile are the pixels of the pieces that were flooded when they were collected last.
class FloodedPixels {
public:
    using Word = BitGrid::Word;

    explicit FloodedPixels(const TileGrid& grid) : rows_(grid.Tiles()), pieces_(grid.Tiles()) {}

    /// Brings the rows of a flooded tile up to date; returns whether it had to collect them.
    bool Collect(std::int32_t tile, const PieceTiles& tiles, const FloodMarks& marks);

    /// The rows of a tile that has flooded pixels.
    const TileRows& RowsOf(std::int32_t tile) const { return rows_[static_cast<std::size_t>(tile)]; }

    void CheckInvariants(const PieceTiles& tiles, const FloodMarks& marks) const;

private:
    ZeroedArray<TileRows> rows_;
    ZeroedArray<Word> pieces_;  // of the first mask, that the rows were collected from
};

}  // namespace level_sweep

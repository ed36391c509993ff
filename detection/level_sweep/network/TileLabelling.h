#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "InstructionSet.h"
#include "bits/BitGrid.h"

namespace level_sweep {

/// Bits first to last of a word.
inline BitGrid::Word BitsFromTo(unsigned first, unsigned last) {
    return ~BitGrid::Word{0} >> (63 - (last - first)) << first;
}

/// 64 x 64 pixels by rows; bit 0 of a row is the leftmost.
using TileRows = std::array<BitGrid::Word, 64>;

/// 8-connected pixels of a tile. A cache line.
struct alignas(64) TilePiece {
    // Its pixels in the tile's outermost rows and columns; bit 0 is the westernmost, or the northernmost.
    BitGrid::Word north, south, west, east;
    BitGrid::Word columns;  // those that have one of its pixels
    std::uint32_t rows;     // index of its row y0; the others follow
    std::uint8_t y0, y1;
};

/// Where the rows of two tiles differ.
struct TileChanges {
    std::array<BitGrid::Word, 66> rows;  // the pixels that differ, and the eight around each; row y is rows[y + 1]
    BitGrid::Word inRows;                // the rows of the tile that have any of them
    BitGrid::Word inColumns;
    TileRows added;  // pixels of the one tile that the other does not have
};

/// The 8-connected pieces of a tile.
struct TilePieces {
    std::vector<TilePiece> pieces;
    // Of all pieces, one after the other. In front of a piece may be an empty one, so there are at most two rows for
    // each pixel.
    std::array<BitGrid::Word, 2 * 64 * 64> rows;
    std::uint32_t rowCount;
};

/// Where 64 pieces of a tile are: the columns and the rows of each, 0 for none.
struct TileShapes {
    std::array<BitGrid::Word, 64> columns, rows;
};

/// The operations on the rows of tiles, in the widest instructions that the processor has.
struct TileLabelling {
    static void FindChanges(const TileRows& now, const TileRows& before, TileChanges& changes);
    /// Pieces come in the order of their first pairs of rows, and there from left to right.
    static void FindPieces(const TileRows& pixels, TilePieces& found);
    /// The pieces, a bit for each of 64, that are adjacent to a piece or overlap it. `rows`: the rows that
    /// TilePiece::rows is an index of.
    static BitGrid::Word FindAdjacent(const TilePiece& piece, const TilePiece* others, const TileShapes& shapes,
                                      BitGrid::Word among, const BitGrid::Word* rows);
};

/// TileLabelling with an instruction set of the caller's choice, which must run here; for tests.
void FindTileChangesWith(qvox::InstructionSet set, const TileRows& now, const TileRows& before, TileChanges& changes);
void FindTilePiecesWith(qvox::InstructionSet set, const TileRows& pixels, TilePieces& found);
BitGrid::Word FindAdjacentTilePiecesWith(qvox::InstructionSet set, const TilePiece& piece, const TilePiece* others,
                                         const TileShapes& shapes, BitGrid::Word among, const BitGrid::Word* rows);

}  // namespace level_sweep

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

/// Pixels of a tile that hang together. A cache line.
struct alignas(64) TilePiece {
    BitGrid::Word top, bottom, left, right;  // those in the tile's outermost rows and columns; bit 0 left, or top
    BitGrid::Word columns;                   // those that it has pixels in
    std::uint32_t rows;                      // where its rows are, from y0 on
    std::int32_t visit;                      // for the owner
    std::uint8_t y0, y1;
};

/// Where the rows of two tiles differ.
struct TileChanges {
    std::array<BitGrid::Word, 66> rows;  // what differs, or is one of the eight around that; row y is rows[y + 1]
    BitGrid::Word inRows;                // which rows of the tile have any of it
    BitGrid::Word inColumns;
    TileRows added;  // what is in the one and was not in the other
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

/// What is done to the rows of tiles, in the widest instructions that the processor has.
struct TileLabelling {
    static void FindChanges(const TileRows& now, const TileRows& before, TileChanges& changes);
    /// Pieces come in the order of their first pairs of rows, and there from left to right.
    static void FindPieces(const TileRows& pixels, TilePieces& found);
    /// Those of 64 pieces, a bit for each, that a piece is 8-connected with, or overlaps. `rows`: what Piece::rows
    /// counts from.
    static BitGrid::Word FindBeside(const TilePiece& piece, const TilePiece* others, const TileShapes& shapes,
                                    BitGrid::Word among, const BitGrid::Word* rows);
};

/// TileLabelling with an instruction set of the caller's choice, which must run here; for tests.
void FindTileChangesWith(qvox::InstructionSet set, const TileRows& now, const TileRows& before, TileChanges& changes);
void FindTilePiecesWith(qvox::InstructionSet set, const TileRows& pixels, TilePieces& found);
BitGrid::Word FindTilePiecesBesideWith(qvox::InstructionSet set, const TilePiece& piece, const TilePiece* others,
                                       const TileShapes& shapes, BitGrid::Word among, const BitGrid::Word* rows);

}  // namespace level_sweep

#include "network/KnownPixels.h"

#include "Assert.h"

namespace level_sweep {

void KnownPixels::FloodedRowsChanged(std::int32_t tile, Word newPieces) {
    const TileRows& known = rows_[static_cast<std::size_t>(tile)];
    const TileRows& flooded = flooded_.RowsOf(tile);
    Summary& summary = summaries_[static_cast<std::size_t>(tile)];
    summary = {summary.pieces & tiles_.InUse(tile, 0) & ~newPieces, 0, 0};
    for (std::size_t row = 0; row < known.size(); ++row) {
        const Word strays = known[row] & ~flooded[row];
        summary.strayRows |= Word{strays != 0} << row;
        summary.strayColumns |= strays;
    }
}

// Of flooded patches those that may be adjacent to strays.
KnownPixels::Word KnownPixels::PatchesNearStrays(std::int32_t tile, std::size_t i, Word patches) const {
    if (patches == 0 || MayHaveStrays(tile)) {
        return patches;
    }
    Word found = 0;
    for (std::size_t direction = 0; direction < TileGrid::kDirections; ++direction) {
        const Word atBorder = patches & tiles_.AtBorder(tile, i, direction);
        found |= atBorder != 0 && MayHaveStrays(tiles_.Grid().Next(tile, direction)) ? atBorder : 0;
    }
    return found;
}

// Whether flooded pieces of a tile may have pixels that are not known; all of them are from now on. Hardly any tile has
// more than one mask; there every pixel is compared.
bool KnownPixels::NoteFloodedPieces(std::int32_t tile) {
    Word& pieces = summaries_[static_cast<std::size_t>(tile)].pieces;
    const Word flooded = marks_.Of(tile, 0).flooded;
    const bool mayHaveNew = tiles_.MaskCount(tile) > 1 || (flooded & ~pieces) != 0;
    pieces |= flooded;
    return mayHaveNew;
}

void KnownPixels::CheckInvariants() const {
    for (const FloodMarks::FloodedTile& at : marks_.FloodedTiles()) {
        const TileRows& known = rows_[static_cast<std::size_t>(at.tile)];
        const TileRows& flooded = flooded_.RowsOf(at.tile);
        const Summary& summary = summaries_[static_cast<std::size_t>(at.tile)];
        for (std::size_t row = 0; row < known.size(); ++row) {
            const Word strays = known[row] & ~flooded[row];
            KORVANE_ASSERT(strays == 0 || (summary.strayRows >> row & 1u) != 0);
            KORVANE_ASSERT((strays & ~summary.strayColumns) == 0);
        }
        if (tiles_.MaskCount(at.tile) > 1) {
            continue;
        }
        ForEachBit(summary.pieces, [&](std::size_t bit) {
            const PieceAt piece{at.tile, static_cast<std::int32_t>(bit)};
            for (int row = 0; row < TileGrid::kSide; ++row) {
                KORVANE_ASSERT((tiles_.PixelsOfRow(piece, row) & ~known[static_cast<std::size_t>(row)]) == 0);
            }
        });
    }
}

}  // namespace level_sweep

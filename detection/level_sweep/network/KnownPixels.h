#pragma once

#include <cstddef>
#include <cstdint>

#include "bits/BitGrid.h"
#include "bits/ZeroedArray.h"
#include "network/FloodMarks.h"
#include "network/FloodedPixels.h"
#include "network/PieceTiles.h"

namespace level_sweep {

/// The set of pixels that the skeleton and the distances are maintained for: those that some component flooded and that
/// have not been dropped since. A pixel is dropped when it is adjacent to the pixels that a later component flooded,
/// without being one of them. Then thinning the set gives for the flooded pixels the lines that thinning them alone
/// gives.
///
/// Strays of a tile are known pixels that are not flooded by the present component.
///
/// Invariants:
/// 1. Every pixel of a piece in `pieces` is known, where the tile has one mask and FloodedRowsChanged was called after
///    its pieces changed.
/// 2. From FloodedRowsChanged of a tile on, as long as its flooded rows stay, the strays lie in strayRows and
///    strayColumns.
class KnownPixels {
public:
    using Word = BitGrid::Word;

    /// All three have to outlive it.
    KnownPixels(const BitGrid& grid, const PieceTiles& tiles, const FloodMarks& marks, const FloodedPixels& flooded)
        : grid_(grid),
          tiles_(tiles),
          marks_(marks),
          flooded_(flooded),
          rows_(tiles.Grid().Tiles()),
          summaries_(tiles.Grid().Tiles()) {}

    /// To be notified when the flooded rows of a tile were collected; `newPieces`: pieces of its first mask that were
    /// found since the last notification.
    void FloodedRowsChanged(std::int32_t tile, Word newPieces);

    /// Drops the strays adjacent to the flooded pixels; calls dropped(word, pixels) for them. A stray adjacent to a
    /// flooded pixel is always adjacent to a flooded patch: all of a region is flooded, with all patches around it. To
    /// be called before AddFlooded.
    template <typename Dropped>
    void DropAdjacentToFlooded(Dropped dropped);
    /// Adds the flooded pixels; calls added(word, pixels) for those that were not known.
    template <typename Added>
    void AddFlooded(Added added);

    void CheckInvariants() const;

private:
    using PieceAt = PieceTiles::PieceAt;
    struct Summary {
        Word pieces;  // of the first mask, all of whose pixels are known
        Word strayRows, strayColumns;
    };

    template <typename Dropped>
    void DropAround(PieceAt at, Dropped dropped);
    template <typename Dropped>
    void DropInNextTiles(PieceAt at, Dropped dropped);
    template <typename Dropped>
    void Drop(std::int32_t tile, int row, Word pixels, Dropped dropped);
    bool MayHaveStrays(std::int32_t tile) const {
        return !marks_.HasFlooded(tile) || summaries_[static_cast<std::size_t>(tile)].strayRows != 0;
    }
    Word PatchesNearStrays(std::int32_t tile, std::size_t i, Word patches) const;
    bool NoteFloodedPieces(std::int32_t tile);

    BitGrid grid_;
    const PieceTiles& tiles_;
    const FloodMarks& marks_;
    const FloodedPixels& flooded_;
    ZeroedArray<TileRows> rows_;
    ZeroedArray<Summary> summaries_;
};

template <typename Added>
void KnownPixels::AddFlooded(Added added) {
    for (const FloodMarks::FloodedTile& at : marks_.FloodedTiles()) {
        if (!NoteFloodedPieces(at.tile)) {
            continue;
        }
        const TileRows& flooded = flooded_.RowsOf(at.tile);
        TileRows& known = rows_[static_cast<std::size_t>(at.tile)];
        std::int32_t word = grid_.WordAt(at.x0, at.y0);
        for (std::size_t row = 0; row < known.size(); ++row, word += grid_.WordsPerRow()) {
            const Word pixels = flooded[row] & ~known[row];
            if (pixels != 0) {
                known[row] |= pixels;
                added(word, pixels);
            }
        }
    }
}

template <typename Dropped>
void KnownPixels::DropAdjacentToFlooded(Dropped dropped) {
    for (const FloodMarks::FloodedTile& at : marks_.FloodedTiles()) {
        for (std::size_t i = 0; i < tiles_.MaskCount(at.tile); ++i) {
            const Word patches = marks_.Of(at.tile, i).flooded & tiles_.PatchesOf(at.tile, i);
            ForEachBit(PatchesNearStrays(at.tile, i, patches), [&](std::size_t bit) {
                DropAround({at.tile, static_cast<std::int32_t>(i * 64 + bit)}, dropped);
            });
        }
    }
}

template <typename Dropped>
void KnownPixels::DropAround(PieceAt at, Dropped dropped) {
    const TilePiece& piece = tiles_.Get(at);
    const Word* rows = tiles_.RowsOf(at);
    const TileRows& known = rows_[static_cast<std::size_t>(at.tile)];
    const TileRows& flooded = flooded_.RowsOf(at.tile);
    const Summary& summary = summaries_[static_cast<std::size_t>(at.tile)];
    const bool mayHaveStrays = (DilateRow(BitsFromTo(piece.y0, piece.y1)) & summary.strayRows) != 0 &&
                               (DilateRow(piece.columns) & summary.strayColumns) != 0;
    Word above = 0;
    Word here = 0;
    for (int row = piece.y0 - 1; mayHaveStrays && row <= piece.y1 + 1; ++row) {
        const Word below = row < piece.y1 ? rows[row + 1 - piece.y0] : 0;
        const Word around = DilateRow(above | here | below);
        above = here;
        here = below;
        if (row >= 0 && row < TileGrid::kSide) {
            const auto inTile = static_cast<std::size_t>(row);
            const Word strays = around & known[inTile] & ~flooded[inTile];
            if (strays != 0) {
                Drop(at.tile, row, strays, dropped);
            }
        }
    }
    if ((piece.north | piece.south | piece.west | piece.east) != 0) {
        DropInNextTiles(at, dropped);
    }
}

template <typename Dropped>
void KnownPixels::DropInNextTiles(PieceAt at, Dropped dropped) {
    constexpr Word westernmost = 1;
    constexpr Word easternmost = Word{1} << (TileGrid::kSide - 1);
    const TilePiece& piece = tiles_.Get(at);
    const TileGrid& grid = tiles_.Grid();
    const bool isFirst = !grid.HasNext(at.tile, TileGrid::kWest);
    const bool isLast = !grid.HasNext(at.tile, TileGrid::kEast);
    const auto dropInRow = [&](std::size_t direction, int row, Word pixels) {
        if (pixels == 0 || !grid.HasNext(at.tile, direction)) {
            return;
        }
        const std::int32_t tile = grid.Next(at.tile, direction);
        Drop(tile, row, DilateRow(pixels), dropped);
        if ((pixels & westernmost) != 0 && !isFirst) {
            Drop(tile - 1, row, easternmost, dropped);
        }
        if ((pixels & easternmost) != 0 && !isLast) {
            Drop(tile + 1, row, westernmost, dropped);
        }
    };
    dropInRow(TileGrid::kNorth, TileGrid::kSide - 1, piece.north);
    dropInRow(TileGrid::kSouth, 0, piece.south);
    const auto dropInColumn = [&](std::int32_t tile, Word pixels, Word column) {
        ForEachBit(DilateRow(pixels), [&](std::size_t row) { Drop(tile, static_cast<int>(row), column, dropped); });
    };
    dropInColumn(at.tile - 1, isFirst ? 0 : piece.west, easternmost);
    dropInColumn(at.tile + 1, isLast ? 0 : piece.east, westernmost);
}

template <typename Dropped>
void KnownPixels::Drop(std::int32_t tile, int row, Word pixels, Dropped dropped) {
    const auto number = static_cast<std::size_t>(tile);
    const auto inTile = static_cast<std::size_t>(row);
    Word& known = rows_[number][inTile];
    const Word strays = pixels & known & ~(marks_.HasFlooded(tile) ? flooded_.RowsOf(tile)[inTile] : 0);
    if (strays == 0) {
        return;
    }
    known &= ~strays;
    summaries_[number].pieces &= marks_.FloodedIn(tile, 0);
    dropped(grid_.WordAt(tiles_.Grid().West(tile), tiles_.Grid().North(tile) + row), strays);
}

}  // namespace level_sweep

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "bits/BitGrid.h"
#include "network/SmallVector.h"
#include "network/TileGrid.h"
#include "network/TileLabelling.h"
#include "network/TilePixels.h"

namespace level_sweep {

/// A tile has at most this many masks of 64 pieces: 2 x 2 pixels are of at most two pieces.
constexpr std::size_t kMostMasks = TileGrid::kSide * TileGrid::kSide / 2 / 64;
/// Pieces of a tile: piece n is bit n % 64 of word n / 64. Only the words of the tile's masks count.
using PieceSet = std::array<BitGrid::Word, kMostMasks>;

/// Working memory of PiecesOfTile, shared by all tiles.
struct PieceSearch {
    PieceSet removed;
    PieceSet added;
    TileRows regions;  // pixels whose pieces are to be found
    TileRows patches;
    TileChanges changes{};
    TilePieces found{};
    TileShapes shapes;
    std::vector<BitGrid::Word> packed;
};

/// The pieces of one tile: the parts of the tile's regions and patches that are 8-connected within the tile. Each has
/// a number, which it keeps until one of its pixels, or of those around it, changes.
///
/// An update runs in four steps: SelectChanged, RemoveSelected, AddFound, LinkAdded.
///
/// Invariants between updates, for the pixels of the last one:
/// 1. Each pixel of a region is in exactly one piece that was a region when it was found, each pixel of a patch in
///    exactly one that was a patch; no other pixel is in a piece.
/// 2. A piece is 8-connected, and no two pieces found as the same kind are adjacent.
/// 3. The columns, sides, first and last row of a piece are those of its pixels.
/// 4. Two pieces are linked, each with the other, exactly if they are adjacent.
/// 5. Only numbers in use count as patches or as new.
/// 6. rowsInUse_ is the number of rows of all pieces; the rows of different pieces do not overlap.
class alignas(64) PiecesOfTile {
public:
    using Word = BitGrid::Word;

    PiecesOfTile() : masks_(1) {}

    std::size_t MaskCount() const { return masks_.size(); }
    /// The numbers of mask i that are in use, and those of them that were patches when they were found.
    Word InUse(std::size_t i) const { return masks_[i].inUse; }
    Word FoundAsPatches(std::size_t i) const { return masks_[i].patches; }
    /// The pieces of mask i that were found since the last call.
    Word TakeNew(std::size_t i) {
        const Word taken = masks_[i].newPieces;
        masks_[i].newPieces = 0;
        return taken;
    }
    const TilePiece& At(std::size_t number) const { return pieces_[number]; }
    /// The pixels of a piece, from its first row to its last.
    const Word* RowsOf(const TilePiece& piece) const { return rows_.data() + piece.rows; }
    Word RowOf(const TilePiece& piece, std::size_t row) const {
        return row >= piece.y0 && row <= piece.y1 ? RowsOf(piece)[row - piece.y0] : 0;
    }
    /// The number of the piece with a pixel of the tile. There must be one.
    std::size_t NumberAt(std::size_t column, std::size_t row) const;
    /// Adds the pixels of some pieces of mask i.
    void AddPixels(std::size_t i, Word pieces, TileRows& pixels) const;
    /// The pieces of mask `there` that are linked with some of mask `here`.
    Word LinkedWith(std::size_t here, Word pieces, std::size_t there) const {
        const std::size_t masks = MaskCount();
        Word linked = 0;
        for (Word remaining = pieces; remaining != 0; remaining &= remaining - 1) {
            linked |= links_[(here * 64 + static_cast<std::size_t>(BitGrid::LowestBit(remaining))) * masks + there];
        }
        return linked;
    }

    /// Selects the pieces with a changed pixel in them or adjacent to them, and their pixels and those that are new.
    void SelectChanged(const TileKinds& now, const TileKinds& before, PieceSearch& search) const;
    /// Frees the numbers of the selected pieces.
    void RemoveSelected(PieceSearch& search);
    /// Finds the pieces of the selected pixels. Each gets the lowest free number, regions first.
    void AddFound(PieceSearch& search);
    /// Links the new pieces with all that are adjacent to them.
    void LinkAdded(PieceSearch& search);

    /// Fetches ahead the links.
    void FetchLinks() const;
    /// Fetches ahead all pieces at once instead of one after the other.
    void FetchPieces() const;
    /// Fetches ahead the address of the pieces.
    void FetchPiecesAddress() const { __builtin_prefetch(&pieces_); }

    void CheckInvariants(const TileKinds& pixels) const;

private:
    struct Mask {
        Word inUse;
        Word patches;
        Word newPieces;  // since TakeNew
    };
    static constexpr std::size_t kLinksInside = 24;

    void SelectChanged(const TileRows& now, const TileChanges& changes, Word among, std::size_t i, PieceSet& removed,
                       TileRows& pixels) const;
    void AddFound(const TileRows& pixels, bool arePatches, PieceSearch& search);
    std::size_t NewNumber(PieceSet& added);
    void AddMask();
    void PackRows(std::vector<Word>& packed);
    void Link(std::size_t number, std::size_t i, Word others, const TileShapes& shapes);
    void CheckPiece(std::size_t number) const;
    void CheckPixels(const TileKinds& pixels) const;
    void CheckLinks() const;

    SmallVector<Word, kLinksInside> links_;  // for each number as many words as there are masks
    std::vector<TilePiece> pieces_;          // by number, also numbers not in use
    std::vector<Word> rows_;                 // also those of pieces that are gone
    std::size_t rowsInUse_ = 0;
    std::vector<Mask> masks_;
};

}  // namespace level_sweep

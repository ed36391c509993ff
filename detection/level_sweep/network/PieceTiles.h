#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "bits/BitGrid.h"
#include "bits/Pixels.h"
#include "bits/ZeroedArray.h"
#include "network/PieceContacts.h"
#include "network/PiecesOfTile.h"
#include "network/TileGrid.h"
#include "network/TilePixels.h"

namespace level_sweep {

/// The regions and patches of an image, cut into tiles of 64 x 64 pixels and there into pieces: parts that are
/// 8-connected within the tile and of one kind. A fill then goes from tile to tile: a word has a bit for each of 64
/// pieces, so all pieces that are adjacent to some others in the same tile, or across one of its sides, are found at
/// once.
///
/// The pieces of a tile are found when they are queried, and again only when the tile's pixels are not those of the
/// last time; then only those with a changed pixel in or adjacent to them. A change that was undone in between costs a
/// comparison. All other pieces keep their numbers, links and contacts.
///
/// A patch that is relabelled to region stays a piece of its own, linked with the pieces of the regions around it. They
/// become one piece when the tile's pieces are found again for some other reason.
///
/// Invariants:
/// 1. The pieces of a tile are those of the pixels in pixelsBefore_ (PiecesOfTile, PieceContacts).
/// 2. The tile's present pixels differ from pixelsBefore_ only by relabelled patches, unless the tile has changed
///    (TilePixels::HasChanged).
/// 3. In a tile that has not changed, a piece that is a patch now was found as one, and the pixels of these pieces are
///    the tile's patch pixels.
class PieceTiles {
public:
    using Word = BitGrid::Word;
    static constexpr int kSide = TileGrid::kSide;
    struct PieceAt {
        std::int32_t tile;
        std::int32_t piece;
    };
    /// The contacts of a tile with one of those around it.
    struct Contacts {
        std::int32_t tile;
        const PieceContacts::Contact* first;
        const PieceContacts::Contact* last;
    };

    PieceTiles(int width, int height);

    const TileGrid& Grid() const { return pixels_.Grid(); }
    /// The kinds of the pixels, and how they change but for relabelling.
    const TilePixels& Pixels() const { return pixels_; }
    void AddPatch(int column, int y, Word pixels) { pixels_.AddPatch(column, y, pixels); }
    void AddRow(std::int32_t tile, int y, Word region, Word patch) { pixels_.AddRow(tile, y, region, patch); }
    void ClearRegion(const PixelRun& run) { pixels_.ClearRegion(run); }
    template <typename Changed>
    void TakeRegionChanges(Changed changed) {
        pixels_.TakeRegionChanges(changed);
    }
    /// Makes regions of pieces that are patches. The pieces stay.
    void RelabelPatches(std::int32_t tile, const PieceSet& relabelled);

    /// Finds the pieces of a tile unless they are known. Pieces stay valid until a tile is refreshed after a change.
    void Refresh(std::int32_t tile) {
        if (pixels_.HasChanged(tile)) {
            FindPieces(tile);
        }
    }
    // All below: of a tile that is refreshed.
    std::size_t MaskCount(std::int32_t tile) const { return SummaryOf(tile).maskCount; }
    /// The numbers of mask i that are in use, and those of them whose pieces are patches.
    Word InUse(std::int32_t tile, std::size_t i) const { return PiecesOf(tile).InUse(i); }
    Word PatchesOf(std::int32_t tile, std::size_t i) const {
        return i == 0 ? SummaryOf(tile).patches : morePatches_[static_cast<std::size_t>(tile)][i - 1];
    }
    bool IsPatch(PieceAt at) const {
        return (PatchesOf(at.tile, static_cast<std::size_t>(at.piece) / 64) & BitOf(at)) != 0;
    }
    static Word BitOf(PieceAt at) { return BitGrid::Bit(at.piece); }
    /// Whether a tile's pieces were found again since the last call of TakeNewPieces, which returns those that are new
    /// since.
    bool PiecesChanged(std::int32_t tile) const { return SummaryOf(tile).piecesChanged; }
    PieceSet TakeNewPieces(std::int32_t tile);

    /// The piece of a pixel of either kind. Refreshes the tile.
    PieceAt Find(int x, int y);
    const TilePiece& Get(PieceAt at) const { return PiecesOf(at.tile).At(static_cast<std::size_t>(at.piece)); }
    const Word* RowsOf(PieceAt at) const { return PiecesOf(at.tile).RowsOf(Get(at)); }
    /// The pixels of a piece in row y of the image, which is one of its tile's.
    Word PixelsOfRow(PieceAt at, int y) const { return PiecesOf(at.tile).RowOf(Get(at), TileGrid::RowInTile(y)); }
    /// The pixels of some pieces of a tile. Cost: their rows, or those of all others and of the tile, whichever are
    /// fewer.
    void FindPixels(std::int32_t tile, const PieceSet& pieces, TileRows& pixels) const;

    /// The pieces of mask `there` that are 8-connected with some of mask `here`. They are of the other kind, or were
    /// when they were found.
    Word LinkedWith(std::int32_t tile, std::size_t here, Word pieces, std::size_t there) const {
        return PiecesOf(tile).LinkedWith(here, pieces, there);
    }
    Word AtBorder(std::int32_t tile, std::size_t i, std::size_t direction) const {
        return contacts_.AtBorder(tile, i, direction);
    }
    /// The contacts, of pieces of either kind, with the next tile in a direction, which must exist. Refreshes it. Valid
    /// until the next call.
    Contacts ContactsOf(std::int32_t tile, std::size_t direction) {
        const std::int32_t next = Grid().Next(tile, direction);
        Refresh(next);
        if (contacts_.IsStale(tile, direction)) {
            contacts_.Find(tile, direction, PiecesOf(tile), PiecesOf(next));
        }
        const PieceContacts::Range range = contacts_.Of(tile, direction);
        return {next, range.first, range.last};
    }

    /// Fetches ahead what ClearRegion needs around a pixel of the image.
    void FetchAround(int x, int y) const { pixels_.FetchAround(x, y); }
    /// Fetches ahead what RelabelPatches needs in any case.
    void FetchPatches(std::int32_t tile) const {
        PiecesOf(tile).FetchPiecesAddress();
        pixels_.FetchPatches(tile);
    }
    /// Fetches ahead a tile's links and contacts, in so far as most tiles have them.
    void FetchLinks(std::int32_t tile) const {
        PiecesOf(tile).FetchLinks();
        contacts_.Fetch(tile);
    }

    void CheckInvariants() const;

private:
    /// The values queried most, side by side.
    struct Summary {
        Word patches;  // of the first mask
        std::uint8_t maskCount;
        bool piecesChanged;
    };

    const Summary& SummaryOf(std::int32_t tile) const { return summaries_[static_cast<std::size_t>(tile)]; }
    const PiecesOfTile& PiecesOf(std::int32_t tile) const { return pieces_[static_cast<std::size_t>(tile)]; }
    Word& PatchWord(std::int32_t tile, std::size_t i) {
        const auto at = static_cast<std::size_t>(tile);
        return i == 0 ? summaries_[at].patches : morePatches_[at][i - 1];
    }
    void FindPieces(std::int32_t tile);
    void ReplaceChangedPieces(std::int32_t tile);
    void SetPatches(std::int32_t tile);
    void CheckTile(std::int32_t tile) const;

    TilePixels pixels_;
    ZeroedArray<TileKinds> pixelsBefore_;  // when the pieces were found last
    ZeroedArray<Summary> summaries_;
    std::vector<std::vector<Word>> morePatches_;  // of all masks but the first
    std::vector<PiecesOfTile> pieces_;
    PieceContacts contacts_;
    PieceSearch search_;
};

}  // namespace level_sweep

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "BitGrid.h"
#include "CodePlane.h"
#include "ZeroedArray.h"

namespace Korvane {

/// Two kinds of pixels of a picture, regions and patches, cut into tiles of 64 x 64 and there into pieces: what hangs
/// together, 8-connected, within the tile and is of one kind. Floods then go from piece to piece: to those that are
/// linked in the same tile and those across its sides.
///
/// A patch that becomes a region joins the regions around it only when the tile's pieces are found again for some other
/// reason; until then they are pieces of one region that are linked.
///
/// The pieces of a tile are found when they are asked for, and again only when the tile's pixels are not those of the
/// last time; then those with changed pixels in or beside them: what is changed and changed back in between costs a
/// comparison.
class NetworkTiles {
public:
    using Word = BitGrid::Word;
    static constexpr int kSide = 64;

    /// A cache line.
    struct alignas(64) Piece {
        Word top, bottom, left, right;  // its pixels in the outermost rows and columns of the tile; bit 0 left, or top
        Word columns;                   // those that it has pixels in
        std::uint16_t rows;             // where its rows are, from y0 on
        std::uint16_t links;            // where its neighbours in the same tile are
        std::uint16_t linkCount;
        std::uint8_t y0, y1;
        bool isPatch;
        // For the owner; false, and 0, when the piece is found. They stay as long as the piece does.
        bool known;
        std::int32_t visitedIn, metIn, visit;
    };
    struct PieceAt {
        std::int32_t tile;
        std::int32_t piece;
    };

    NetworkTiles(int width, int height);

    std::size_t Tiles() const { return tiles_.size(); }

    /// Adds pixels, and tells which are there, in row y from column 64 * tileColumn on.
    void AddPatch(int tileColumn, int y, Word pixels);
    Word PatchesIn(int tileColumn, int y) const { return BitsOf(TileOf(tileColumn, y)).patch[RowOf(y)]; }
    Word RegionsIn(int tileColumn, int y) const { return BitsOf(TileOf(tileColumn, y)).region[RowOf(y)]; }
    /// Whether a patch has a pixel among the nine around (x, y).
    bool IsPatchAround(int x, int y) const;
    /// Adds pixels of either kind to a row of a tile.
    void AddRow(std::int32_t tile, int y, Word region, Word patch) {
        if ((region | patch) != 0) {
            BitsOf(tile).region[RowOf(y)] |= region;
            BitsOf(tile).patch[RowOf(y)] |= patch;
            tiles_[static_cast<std::size_t>(tile)].stale = true;
            NoteRegionChange(tile);
        }
    }
    /// Makes a region of the pixels of a piece that is a patch. The piece stays, and stays linked to those around it,
    /// which are of its kind then.
    void TurnPatch(PieceAt at);
    /// Makes patches of the region's pixels in a run.
    void ClearRegion(const PixelRun& run) {
        ChangeRun(run, [&](std::int32_t tile, std::size_t row, Word bits) {
            Bits& at = BitsOf(tile);
            bits &= at.region[row];
            if (bits != 0) {
                at.region[row] ^= bits;
                at.patch[row] |= bits;
                tiles_[static_cast<std::size_t>(tile)].stale = true;
                NoteRegionChange(tile);
            }
        });
    }

    /// The pixels of a tile's row that are of either kind.
    Word EitherIn(std::int32_t tile, int y) const {
        return BitsOf(tile).region[RowOf(y)] | BitsOf(tile).patch[RowOf(y)];
    }
    /// Calls changed(tile, y, gained, lost) for each row of a tile where region came or went since the last call, or
    /// the start, and is there or gone still.
    template <typename Changed>
    void TakeRegionChanges(Changed changed);

    /// Finds the pieces of a tile unless they are known. Pieces stay valid until a tile is refreshed after a change.
    void Refresh(std::int32_t tile) {
        if (tiles_[static_cast<std::size_t>(tile)].stale) {
            FindPieces(tile);
        }
    }
    /// How often the tile's pieces were found: their pixels are the same while this is.
    std::uint32_t TimesFound(std::int32_t tile) const { return tiles_[static_cast<std::size_t>(tile)].timesFound; }
    std::int32_t TileAt(int x, int y) const {
        constexpr unsigned side = kSide;
        return static_cast<std::int32_t>(static_cast<unsigned>(y) / side) * tilesPerRow_ +
               static_cast<std::int32_t>(static_cast<unsigned>(x) / side);
    }
    int TilesPerRow() const { return tilesPerRow_; }
    int Left(std::int32_t tile) const { return tile % tilesPerRow_ * kSide; }
    int Top(std::int32_t tile) const { return tile / tilesPerRow_ * kSide; }

    /// The piece of a pixel of either kind.
    PieceAt Find(int x, int y);
    Piece& Get(PieceAt at) {
        return tiles_[static_cast<std::size_t>(at.tile)].pieces[static_cast<std::size_t>(at.piece)];
    }
    const Piece& Get(PieceAt at) const {
        return tiles_[static_cast<std::size_t>(at.tile)].pieces[static_cast<std::size_t>(at.piece)];
    }
    std::vector<Piece>& PiecesOf(std::int32_t tile) { return tiles_[static_cast<std::size_t>(tile)].pieces; }
    const Word* RowsOf(PieceAt at) const {
        return tiles_[static_cast<std::size_t>(at.tile)].rows.data() + Get(at).rows;
    }
    /// The pixels of a piece in row y of the picture, which is one of its tile's.
    Word PixelsOfRow(PieceAt at, int y) const {
        const Piece& piece = Get(at);
        const int row = y & (kSide - 1);
        return row >= piece.y0 && row <= piece.y1 ? RowsOf(at)[row - piece.y0] : 0;
    }

    /// Calls visit(place, piece) for the pieces in other tiles that a piece is 8-connected with, of either kind.
    template <typename Visit>
    void ForEachInOtherTiles(PieceAt at, Visit visit);
    /// The same for those in the same tile.
    template <typename Visit>
    void ForEachLinked(PieceAt at, Visit visit);

private:
    using Rows = std::array<Word, kSide>;
    struct Bits {
        Rows region;
        Rows patch;
        Rows regionBefore;  // when pieces were found last
        Rows patchBefore;
        Rows regionTaken;  // when region's changes were taken last
    };
    /// Two rows of a tile while it is flooded: pixels that no piece has yet, seeds in either row, and the present
    /// piece's.
    struct Band {
        Word upper, lower;
        Word seeds;
        Word upperReached, lowerReached;
    };
    enum Side { kTop, kBottom, kLeft, kRight, kSides };
    struct AtSide {
        Word pixels;
        std::int32_t piece;
    };
    struct Tile {
        std::vector<Piece> pieces;  // regions first, then what was a patch when it was found
        std::vector<Word> rows;
        std::vector<std::uint16_t> links;
        std::vector<AtSide> atSides;  // the pieces at one side after those of the other
        std::array<std::uint16_t, kSides + 1> sideStarts{};
        std::int32_t regions = 0;
        std::uint32_t timesFound = 0;
        bool stale = true;
        bool isToTake = false;
    };
    struct KindCount {
        std::size_t first, firstNew, end;  // of a tile's pieces of one kind: first those kept, then those found anew
    };

    std::int32_t TileOf(int tileColumn, int y) const { return (y / kSide) * tilesPerRow_ + tileColumn; }
    static std::size_t RowOf(int y) { return static_cast<std::size_t>(y & (kSide - 1)); }
    Bits& BitsOf(std::int32_t tile) { return bits_[static_cast<std::size_t>(tile)]; }
    const Bits& BitsOf(std::int32_t tile) const { return bits_[static_cast<std::size_t>(tile)]; }
    void NoteRegionChange(std::int32_t tile) {
        Tile& changed = tiles_[static_cast<std::size_t>(tile)];
        if (!changed.isToTake) {
            changed.isToTake = true;
            toTake_.push_back(tile);
        }
    }
    void FindPieces(std::int32_t tile);
    KindCount FindPieces(const Tile& tile, const Rows& now, const Rows& before, bool arePatches);
    void Keep(const Tile& tile, std::size_t number, Rows& left);
    void Flood(const Rows& pixels, bool arePatches);
    void AddPiece(Band* bands, std::size_t first, std::size_t last, bool isPatch);
    void FindLinks(const KindCount& regions, const KindCount& patches);
    void FindLinksOfKept(const Tile& tile);
    void SetLinks(Tile& tile);
    static void ListSides(Tile& tile);
    template <typename Change>
    void ChangeRun(const PixelRun& run, Change change);
    template <typename Visit>
    void ForEachAtSide(std::int32_t tile, Side side, Word pixels, Visit visit);

    int tilesPerRow_;
    int tileRows_;
    ZeroedArray<Bits> bits_;
    std::vector<Tile> tiles_;
    std::vector<std::int32_t> toTake_;  // tiles whose region may have changed
    // While a tile's pieces are found:
    std::vector<Piece> pieces_;
    std::array<Word, 2 * std::size_t{kSide} * kSide> rows_;  // of all pieces; one in two has a pixel
    std::size_t rowCount_ = 0;
    std::vector<std::int32_t> keptAs_;       // per piece of the last time: its number now, or -1
    std::vector<std::uint32_t> linksFound_;  // regions and patches, 16 bits each
};

template <typename Change>
void NetworkTiles::ChangeRun(const PixelRun& run, Change change) {
    for (int x0 = run.x0; x0 <= run.x1;) {
        const std::int32_t tile = TileAt(x0, run.y);
        const int x1 = run.x1 < (x0 | (kSide - 1)) ? run.x1 : (x0 | (kSide - 1));
        const Word bits = ~Word{0} >> (kSide - 1 - (x1 - x0)) << (x0 & (kSide - 1));
        change(tile, RowOf(run.y), bits);
        x0 = x1 + 1;
    }
}

template <typename Changed>
void NetworkTiles::TakeRegionChanges(Changed changed) {
    for (const std::int32_t tile : toTake_) {
        tiles_[static_cast<std::size_t>(tile)].isToTake = false;
        Bits& bits = BitsOf(tile);
        for (int row = 0; row < kSide; ++row) {
            const Word now = bits.region[RowOf(row)];
            const Word before = bits.regionTaken[RowOf(row)];
            if (now != before) {
                changed(tile, Top(tile) + row, now & ~before, before & ~now);
            }
        }
        bits.regionTaken = bits.region;
    }
    toTake_.clear();
}

template <typename Visit>
void NetworkTiles::ForEachAtSide(std::int32_t tile, Side side, Word pixels, Visit visit) {
    Refresh(tile);
    Tile& at = tiles_[static_cast<std::size_t>(tile)];
    const AtSide* end = at.atSides.data() + at.sideStarts[static_cast<std::size_t>(side) + 1];
    for (const AtSide* near = at.atSides.data() + at.sideStarts[static_cast<std::size_t>(side)]; near != end; ++near) {
        if ((near->pixels & pixels) != 0) {
            visit(PieceAt{tile, near->piece}, at.pieces[static_cast<std::size_t>(near->piece)]);
        }
    }
}

template <typename Visit>
void NetworkTiles::ForEachInOtherTiles(PieceAt at, Visit visit) {
    // Nothing is found anew in the piece's own tile, but for all that the compiler knows it might be: hence the copies.
    const Piece& piece = Get(at);
    const Word top = piece.top;
    const Word bottom = piece.bottom;
    const Word left = piece.left;
    const Word right = piece.right;
    if ((top | bottom | left | right) == 0) {
        return;
    }
    constexpr auto last = Word{1} << (kSide - 1);
    const int row = at.tile / tilesPerRow_;
    const int column = at.tile - row * tilesPerRow_;
    const bool isFirst = column == 0;
    const bool isLast = column + 1 == tilesPerRow_;
    if (left != 0 && !isFirst) {
        ForEachAtSide(at.tile - 1, kRight, Wider(left), visit);
    }
    if (right != 0 && !isLast) {
        ForEachAtSide(at.tile + 1, kLeft, Wider(right), visit);
    }
    const auto lookAcross = [&](std::int32_t tile, Side side, Word pixels) {
        ForEachAtSide(tile, side, Wider(pixels), visit);
        if ((pixels & 1u) != 0 && !isFirst) {
            ForEachAtSide(tile - 1, side, last, visit);
        }
        if ((pixels & last) != 0 && !isLast) {
            ForEachAtSide(tile + 1, side, 1, visit);
        }
    };
    if (top != 0 && row > 0) {
        lookAcross(at.tile - tilesPerRow_, kBottom, top);
    }
    if (bottom != 0 && row + 1 < tileRows_) {
        lookAcross(at.tile + tilesPerRow_, kTop, bottom);
    }
}

template <typename Visit>
void NetworkTiles::ForEachLinked(PieceAt at, Visit visit) {
    Tile& tile = tiles_[static_cast<std::size_t>(at.tile)];
    const Piece& piece = tile.pieces[static_cast<std::size_t>(at.piece)];
    for (std::size_t i = piece.links; i < std::size_t{piece.links} + piece.linkCount; ++i) {
        visit(PieceAt{at.tile, tile.links[i]}, tile.pieces[tile.links[i]]);
    }
}

}  // namespace Korvane

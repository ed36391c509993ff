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
/// together, 8-connected, within the tile and is of one kind. Floods then go from piece to piece.
///
/// The pieces of a tile are found when they are asked for, and again only when the tile's pixels are not those of the
/// last time: what is changed and changed back in between costs a comparison.
class NetworkTiles {
public:
    using Word = BitGrid::Word;
    static constexpr int kSide = 64;

    struct Piece {
        Word top, bottom, left, right;  // its pixels in the outermost rows and columns of the tile; bit 0 left, or top
        Word columns;                   // those that it has pixels in
        std::uint32_t rows;             // where its rows are, from y0 on
        std::uint32_t links;            // where its neighbours of the other kind in the same tile are
        std::uint16_t linkCount;
        std::uint8_t y0, y1;
        bool isPatch;
        // For the owner; all false, and 0, when the piece is found.
        bool known, visited, met, before;
        std::int32_t visit;
    };
    struct PieceAt {
        std::int32_t tile;
        std::int32_t piece;
    };

    NetworkTiles(int width, int height);

    std::size_t Tiles() const { return tiles_.size(); }

    void AddPatch(const PixelRun& run);
    void AddRegion(const PixelRun& run);
    /// Adds pixels, and tells which are there, in row y from column 64 * tileColumn on.
    void AddPatch(int tileColumn, int y, Word pixels) {
        const auto tile = static_cast<std::size_t>((y / kSide) * tilesPerRow_ + tileColumn);
        bits_[tile].patch[static_cast<std::size_t>(y & (kSide - 1))] |= pixels;
        tiles_[tile].stale = true;
    }
    Word PatchesIn(int tileColumn, int y) const {
        const auto tile = static_cast<std::size_t>((y / kSide) * tilesPerRow_ + tileColumn);
        return bits_[tile].patch[static_cast<std::size_t>(y & (kSide - 1))];
    }
    /// The pixels of both kinds.
    Word PixelsIn(int tileColumn, int y) const {
        const auto tile = static_cast<std::size_t>((y / kSide) * tilesPerRow_ + tileColumn);
        const auto row = static_cast<std::size_t>(y & (kSide - 1));
        return bits_[tile].region[row] | bits_[tile].patch[row];
    }
    /// Whether a patch has a pixel among the nine around (x, y).
    bool IsPatchAround(int x, int y) const;
    /// Makes a region of the pixels of a piece that is a patch. The tile's pieces stay as they are until Refresh.
    void TurnPatch(PieceAt at);
    /// Makes patches of the region's pixels in a run; calls cleared(run) for each stretch of them.
    template <typename Cleared>
    void ClearRegion(const PixelRun& run, Cleared cleared);

    /// Finds the pieces of a tile unless they are known. Pieces stay valid until a tile is refreshed after a change.
    void Refresh(std::int32_t tile) {
        if (tiles_[static_cast<std::size_t>(tile)].stale) {
            FindPieces(tile);
        }
    }
    std::int32_t TileAt(int x, int y) const { return (y / kSide) * tilesPerRow_ + x / kSide; }
    int TilesPerRow() const { return tilesPerRow_; }
    int Left(std::int32_t tile) const { return tile % tilesPerRow_ * kSide; }
    int Top(std::int32_t tile) const { return tile / tilesPerRow_ * kSide; }

    /// The piece of a pixel of either kind.
    PieceAt Find(int x, int y);
    bool Holds(PieceAt at, int x, int y) const;
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

    /// Calls visit(place, piece) for the pieces in other tiles that a piece is 8-connected with, of either kind.
    template <typename Visit>
    void ForEachInOtherTiles(PieceAt at, Visit visit);
    /// The same for those of the other kind in the same tile.
    template <typename Visit>
    void ForEachLinked(PieceAt at, Visit visit);

private:
    using Rows = std::array<Word, kSide>;
    struct Bits {
        Rows region;
        Rows patch;
        Rows regionBefore;  // when pieces were found last
        Rows patchBefore;
    };
    struct Tile {
        std::vector<Piece> pieces;
        std::vector<Word> rows;
        std::vector<std::uint16_t> links;
        std::vector<std::uint16_t> atBorder;
        bool stale = true;
    };

    static Word Wider(Word bits) { return bits | bits << 1 | bits >> 1; }
    void FindPieces(std::int32_t tile);
    void FindPieces(Tile& tile, const Rows& pixels, bool arePatches);
    void AddPiece(Tile& tile, const Rows& rows, int y0, int y1, bool isPatch);
    void Link(Tile& tile);
    bool AreBeside(const Tile& tile, const Piece& a, const Piece& b) const;
    template <typename Change>
    void ChangeRun(const PixelRun& run, Change change);

    int width_;
    int height_;
    int tilesPerRow_;
    int tileRows_;
    ZeroedArray<Bits> bits_;
    std::vector<Tile> tiles_;
    std::vector<std::uint32_t> linksFound_;
};

template <typename Change>
void NetworkTiles::ChangeRun(const PixelRun& run, Change change) {
    for (int x0 = run.x0; x0 <= run.x1;) {
        const std::int32_t tile = TileAt(x0, run.y);
        const int x1 = run.x1 < (x0 | (kSide - 1)) ? run.x1 : (x0 | (kSide - 1));
        const Word bits = ~Word{0} >> (kSide - 1 - (x1 - x0)) << (x0 & (kSide - 1));
        change(tile, static_cast<std::size_t>(run.y & (kSide - 1)), bits);
        x0 = x1 + 1;
    }
}

template <typename Cleared>
void NetworkTiles::ClearRegion(const PixelRun& run, Cleared cleared) {
    ChangeRun(run, [&](std::int32_t tile, std::size_t row, Word bits) {
        Bits& at = bits_[static_cast<std::size_t>(tile)];
        bits &= at.region[row];
        if (bits == 0) {
            return;
        }
        at.region[row] &= ~bits;
        at.patch[row] |= bits;
        tiles_[static_cast<std::size_t>(tile)].stale = true;
        ForEachRun(bits, [&](int first, int last) { cleared(PixelRun{run.y, Left(tile) + first, Left(tile) + last}); });
    });
}

template <typename Visit>
void NetworkTiles::ForEachInOtherTiles(PieceAt at, Visit visit) {
    // Visiting must not find pieces anew, so the piece stays where it is; a copy keeps the compiler from asking again.
    const Piece piece = Get(at);
    if ((piece.top | piece.bottom | piece.left | piece.right) == 0) {
        return;
    }
    const int column = at.tile % tilesPerRow_;
    const int row = at.tile / tilesPerRow_;
    const auto look = [&](int dx, int dy, auto isBeside) {
        if (column + dx < 0 || column + dx >= tilesPerRow_ || row + dy < 0 || row + dy >= tileRows_) {
            return;
        }
        const std::int32_t other = at.tile + dy * tilesPerRow_ + dx;
        Refresh(other);
        Tile& tile = tiles_[static_cast<std::size_t>(other)];
        for (const std::uint16_t number : tile.atBorder) {
            Piece& near = tile.pieces[number];
            if (isBeside(near)) {
                visit(PieceAt{other, number}, near);
            }
        }
    };
    const auto last = Word{1} << (kSide - 1);
    if (piece.top != 0) {
        look(0, -1, [&](const Piece& near) { return (Wider(piece.top) & near.bottom) != 0; });
    }
    if (piece.bottom != 0) {
        look(0, 1, [&](const Piece& near) { return (Wider(piece.bottom) & near.top) != 0; });
    }
    if (piece.left != 0) {
        look(-1, 0, [&](const Piece& near) { return (Wider(piece.left) & near.right) != 0; });
    }
    if (piece.right != 0) {
        look(1, 0, [&](const Piece& near) { return (Wider(piece.right) & near.left) != 0; });
    }
    if ((piece.top & 1u) != 0) {
        look(-1, -1, [&](const Piece& near) { return (near.bottom & last) != 0; });
    }
    if ((piece.top & last) != 0) {
        look(1, -1, [&](const Piece& near) { return (near.bottom & 1u) != 0; });
    }
    if ((piece.bottom & 1u) != 0) {
        look(-1, 1, [&](const Piece& near) { return (near.top & last) != 0; });
    }
    if ((piece.bottom & last) != 0) {
        look(1, 1, [&](const Piece& near) { return (near.top & 1u) != 0; });
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

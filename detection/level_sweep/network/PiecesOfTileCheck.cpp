#include "network/PiecesOfTile.h"

#include "Assert.h"

// The invariants of PiecesOfTile, checked without the functions that maintain them.
namespace level_sweep {

using Word = BitGrid::Word;

void PiecesOfTile::CheckInvariants(const TileKinds& pixels) const {
    std::size_t rowsInUse = 0;
    std::vector<int> users(rows_.size());
    for (std::size_t i = 0; i < masks_.size(); ++i) {
        KORVANE_ASSERT(((masks_[i].patches | masks_[i].newPieces) & ~masks_[i].inUse) == 0);
        ForEachBit(masks_[i].inUse, [&](std::size_t bit) {
            KORVANE_ASSERT(i * 64 + bit < pieces_.size());
            const TilePiece& piece = pieces_[i * 64 + bit];
            CheckPiece(i * 64 + bit);
            for (std::size_t row = piece.y0; row <= piece.y1; ++row) {
                ++users[piece.rows + row - piece.y0];
                KORVANE_ASSERT(users[piece.rows + row - piece.y0] == 1);
                ++rowsInUse;
            }
        });
    }
    KORVANE_ASSERT(rowsInUse == rowsInUse_);
    CheckPixels(pixels);
    CheckLinks();
}

void PiecesOfTile::CheckPiece(std::size_t number) const {
    constexpr std::size_t last = TileGrid::kSide - 1;
    const TilePiece& piece = pieces_[number];
    KORVANE_ASSERT(piece.y0 <= piece.y1 && piece.y1 <= last && piece.rows + piece.y1 - piece.y0 < rows_.size());
    TileRows pixels{};
    Word columns = 0;
    Word west = 0;
    Word east = 0;
    for (std::size_t row = piece.y0; row <= piece.y1; ++row) {
        pixels[row] = RowOf(piece, row);
        columns |= pixels[row];
        west |= (pixels[row] & 1u) << row;
        east |= (pixels[row] >> last) << row;
    }
    KORVANE_ASSERT(pixels[piece.y0] != 0 && pixels[piece.y1] != 0);
    KORVANE_ASSERT(piece.columns == columns && piece.west == west && piece.east == east);
    KORVANE_ASSERT(piece.north == pixels[0] && piece.south == pixels[last]);
    TileRows reached{};
    reached[piece.y0] = pixels[piece.y0] & (~pixels[piece.y0] + 1);
    for (bool again = true; again;) {
        again = false;
        for (std::size_t row = piece.y0; row <= piece.y1; ++row) {
            const Word around =
                DilateRow(reached[row] | (row > 0 ? reached[row - 1] : 0) | (row < last ? reached[row + 1] : 0));
            again = again || (around & pixels[row] & ~reached[row]) != 0;
            reached[row] |= around & pixels[row];
        }
    }
    KORVANE_ASSERT(reached == pixels);
}

void PiecesOfTile::CheckPixels(const TileKinds& pixels) const {
    TileRows inRegions{};
    TileRows inPatches{};
    for (std::size_t i = 0; i < masks_.size(); ++i) {
        ForEachBit(masks_[i].inUse, [&](std::size_t bit) {
            const TilePiece& piece = pieces_[i * 64 + bit];
            TileRows& covered = (masks_[i].patches >> bit & 1u) != 0 ? inPatches : inRegions;
            for (std::size_t row = piece.y0; row <= piece.y1; ++row) {
                KORVANE_ASSERT((covered[row] & RowOf(piece, row)) == 0);
                covered[row] |= RowOf(piece, row);
            }
        });
    }
    for (std::size_t row = 0; row < inRegions.size(); ++row) {
        KORVANE_ASSERT(inRegions[row] == pixels.RegionIn(row) && inPatches[row] == pixels.patch[row]);
    }
}

void PiecesOfTile::CheckLinks() const {
    const std::size_t masks = masks_.size();
    KORVANE_ASSERT(links_.size() == pieces_.size() * masks);
    const auto isInUse = [&](std::size_t number) { return (masks_[number / 64].inUse >> number % 64 & 1u) != 0; };
    const auto isPatch = [&](std::size_t number) { return (masks_[number / 64].patches >> number % 64 & 1u) != 0; };
    for (std::size_t a = 0; a < pieces_.size(); ++a) {
        for (std::size_t b = 0; isInUse(a) && b < masks * 64; ++b) {
            const bool areLinked = (links_[a * masks + b / 64] >> b % 64 & 1u) != 0;
            const bool areAdjacent = a != b && isInUse(b) && AreAdjacent(pieces_[a], pieces_[b]);
            KORVANE_ASSERT(areLinked == areAdjacent);
            KORVANE_ASSERT(!areAdjacent || isPatch(a) != isPatch(b));
        }
    }
}

bool PiecesOfTile::AreAdjacent(const TilePiece& a, const TilePiece& b) const {
    if ((DilateRow(a.columns) & b.columns) == 0 || a.y0 > b.y1 + 1 || b.y0 > a.y1 + 1) {
        return false;
    }
    for (std::size_t row = a.y0; row <= a.y1; ++row) {
        const Word around = DilateRow(RowOf(a, row));
        if ((around & (RowOf(b, row) | RowOf(b, row + 1) | (row > 0 ? RowOf(b, row - 1) : 0))) != 0) {
            return true;
        }
    }
    return false;
}

}  // namespace level_sweep

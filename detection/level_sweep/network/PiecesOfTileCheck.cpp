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
    constexpr int side = TileGrid::kSide;
    const std::size_t masks = masks_.size();
    const std::size_t none = masks * 64;
    KORVANE_ASSERT(links_.size() == pieces_.size() * masks);
    std::vector<std::size_t> pieceOf(side * side, none);
    const auto at = [&](int x, int y) -> std::size_t& { return pieceOf[static_cast<std::size_t>(y * side + x)]; };
    for (std::size_t i = 0; i < masks; ++i) {
        ForEachBit(masks_[i].inUse, [&](std::size_t bit) {
            const TilePiece& piece = pieces_[i * 64 + bit];
            for (int y = piece.y0; y <= piece.y1; ++y) {
                ForEachBit(RowOf(piece, static_cast<std::size_t>(y)),
                           [&](std::size_t x) { at(static_cast<int>(x), y) = i * 64 + bit; });
            }
        });
    }
    const auto isPatch = [&](std::size_t number) { return (masks_[number / 64].patches >> number % 64 & 1u) != 0; };
    std::vector<Word> expected(links_.size());
    for (int pixel = 0; pixel < side * side; ++pixel) {
        const int x = pixel % side;
        const int y = pixel / side;
        for (int near = 0; at(x, y) != none && near < 9; ++near) {
            const int u = x + near % 3 - 1;
            const int v = y + near / 3 - 1;
            const std::size_t other = u >= 0 && v >= 0 && u < side && v < side ? at(u, v) : none;
            if (other != none && other != at(x, y)) {
                KORVANE_ASSERT(isPatch(other) != isPatch(at(x, y)));
                expected[at(x, y) * masks + other / 64] |= Word{1} << other % 64;
            }
        }
    }
    for (std::size_t i = 0; i < links_.size(); ++i) {
        const std::size_t number = i / masks;
        const bool isInUse = (masks_[number / 64].inUse >> number % 64 & 1u) != 0;
        KORVANE_ASSERT(!isInUse || links_[i] == expected[i]);
    }
}

}  // namespace level_sweep

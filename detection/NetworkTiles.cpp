#include "NetworkTiles.h"

#include <algorithm>

namespace Korvane {
namespace {

// Carries bits over all open ones that hang together with them: upwards by the carry of an addition, which runs to the
// end of a stretch of ones, downwards in steps that double.
BitGrid::Word Carried(BitGrid::Word reached, BitGrid::Word open) {
    reached = open & (~(open + reached) | reached);
    if ((open & (reached >> 1) & ~reached) == 0) {
        return reached;
    }
    for (int step = 1; step < 64; step *= 2) {
        reached |= open & (reached >> step);
        open &= open >> step;
    }
    return reached;
}

}  // namespace

NetworkTiles::NetworkTiles(int width, int height)
    : width_(width),
      height_(height),
      tilesPerRow_((width + kSide - 1) / kSide),
      tileRows_((height + kSide - 1) / kSide),
      bits_(static_cast<std::size_t>(tilesPerRow_) * static_cast<std::size_t>(tileRows_)),
      tiles_(bits_.size()) {}

void NetworkTiles::AddPatch(const PixelRun& run) {
    ChangeRun(run, [&](std::int32_t tile, std::size_t row, Word bits) {
        bits_[static_cast<std::size_t>(tile)].patch[row] |= bits;
        tiles_[static_cast<std::size_t>(tile)].stale = true;
    });
}

void NetworkTiles::AddRegion(const PixelRun& run) {
    ChangeRun(run, [&](std::int32_t tile, std::size_t row, Word bits) {
        bits_[static_cast<std::size_t>(tile)].region[row] |= bits;
        tiles_[static_cast<std::size_t>(tile)].stale = true;
    });
}

bool NetworkTiles::IsPatchAround(int x, int y) const {
    const int bit = x & (kSide - 1);
    const int row = y & (kSide - 1);
    if (bit > 0 && bit < kSide - 1 && row > 0 && row < kSide - 1) {
        const Word* patch = &bits_[static_cast<std::size_t>(TileAt(x, y))].patch[static_cast<std::size_t>(row)];
        return ((patch[-1] | patch[0] | patch[1]) >> (bit - 1) & 7u) != 0;
    }
    for (int v = std::max(y - 1, 0); v <= std::min(y + 1, height_ - 1); ++v) {
        for (int u = std::max(x - 1, 0); u <= std::min(x + 1, width_ - 1); ++u) {
            if ((PatchesIn(u / kSide, v) & BitGrid::Bit(u)) != 0) {
                return true;
            }
        }
    }
    return false;
}

void NetworkTiles::TurnPatch(PieceAt at) {
    const Piece& piece = Get(at);
    const Word* rows = RowsOf(at);
    Bits& bits = bits_[static_cast<std::size_t>(at.tile)];
    for (std::size_t y = piece.y0; y <= piece.y1; ++y) {
        bits.region[y] |= rows[y - piece.y0];
        bits.patch[y] &= ~rows[y - piece.y0];
    }
    tiles_[static_cast<std::size_t>(at.tile)].stale = true;
}

bool NetworkTiles::Holds(PieceAt at, int x, int y) const {
    if (TileAt(x, y) != at.tile) {
        return false;
    }
    const Piece& piece = Get(at);
    const int row = y & (kSide - 1);
    return row >= piece.y0 && row <= piece.y1 && (RowsOf(at)[row - piece.y0] & BitGrid::Bit(x)) != 0;
}

NetworkTiles::PieceAt NetworkTiles::Find(int x, int y) {
    PieceAt at{TileAt(x, y), 0};
    Refresh(at.tile);
    while (!Holds(at, x, y)) {
        ++at.piece;
    }
    return at;
}

void NetworkTiles::FindPieces(std::int32_t number) {
    Tile& tile = tiles_[static_cast<std::size_t>(number)];
    Bits& bits = bits_[static_cast<std::size_t>(number)];
    tile.stale = false;
    if (bits.region == bits.regionBefore && bits.patch == bits.patchBefore) {
        return;
    }
    bits.regionBefore = bits.region;
    bits.patchBefore = bits.patch;
    tile.pieces.clear();
    tile.rows.clear();
    tile.atBorder.clear();
    FindPieces(tile, bits.region, false);
    FindPieces(tile, bits.patch, true);
    Link(tile);
}

void NetworkTiles::FindPieces(Tile& tile, const Rows& pixels, bool arePatches) {
    Rows left = pixels;
    Rows seeds{};
    Rows reached;
    for (std::size_t start = 0; start < kSide; ++start) {
        while (left[start] != 0) {
            std::size_t y0 = start;
            std::size_t y1 = start;
            seeds[start] = left[start] & (~left[start] + 1);
            reached[start] = 0;
            Word waiting = Word{1} << start;  // rows with seeds
            while (waiting != 0) {
                const auto y = static_cast<std::size_t>(BitGrid::Lowest(waiting));
                waiting &= waiting - 1;
                const Word found = Carried(seeds[y], left[y]);
                seeds[y] = 0;
                left[y] &= ~found;
                reached[y] |= found;
                const Word beside = Wider(found);
                if (y > start && (beside & left[y - 1]) != 0) {
                    seeds[y - 1] |= beside & left[y - 1];
                    waiting |= Word{1} << (y - 1);
                }
                if (y + 1 < kSide && (beside & left[y + 1]) != 0) {
                    if (y + 1 > y1) {
                        y1 = y + 1;
                        reached[y1] = 0;
                    }
                    seeds[y + 1] |= beside & left[y + 1];
                    waiting |= Word{1} << (y + 1);
                }
            }
            AddPiece(tile, reached, static_cast<int>(y0), static_cast<int>(y1), arePatches);
        }
    }
}

void NetworkTiles::AddPiece(Tile& tile, const Rows& rows, int y0, int y1, bool isPatch) {
    Piece piece{};
    piece.isPatch = isPatch;
    piece.y0 = static_cast<std::uint8_t>(y0);
    piece.y1 = static_cast<std::uint8_t>(y1);
    piece.rows = static_cast<std::uint32_t>(tile.rows.size());
    piece.top = y0 == 0 ? rows[0] : 0;
    piece.bottom = y1 == kSide - 1 ? rows[kSide - 1] : 0;
    for (int y = y0; y <= y1; ++y) {
        const Word row = rows[static_cast<std::size_t>(y)];
        tile.rows.push_back(row);
        piece.columns |= row;
        piece.left |= (row & 1u) << y;
        piece.right |= (row >> (kSide - 1)) << y;
    }
    if ((piece.top | piece.bottom | piece.left | piece.right) != 0) {
        tile.atBorder.push_back(static_cast<std::uint16_t>(tile.pieces.size()));
    }
    tile.pieces.push_back(piece);
}

bool NetworkTiles::AreBeside(const Tile& tile, const Piece& a, const Piece& b) const {
    const int y0 = std::max<int>(a.y0, b.y0 - 1);
    const int y1 = std::min<int>(a.y1, b.y1 + 1);
    if (y0 > y1 || (Wider(a.columns) & b.columns) == 0) {
        return false;
    }
    const Word* rowsA = tile.rows.data() + a.rows;
    const Word* rowsB = tile.rows.data() + b.rows;
    for (int y = y0; y <= y1; ++y) {
        Word near = 0;
        for (int v = std::max<int>(y - 1, b.y0); v <= std::min<int>(y + 1, b.y1); ++v) {
            near |= rowsB[v - b.y0];
        }
        if ((Wider(rowsA[y - a.y0]) & near) != 0) {
            return true;
        }
    }
    return false;
}

void NetworkTiles::Link(Tile& tile) {
    std::size_t patches = 0;
    while (patches < tile.pieces.size() && !tile.pieces[patches].isPatch) {
        ++patches;
    }
    linksFound_.clear();
    for (std::size_t region = 0; region < patches; ++region) {
        for (std::size_t patch = patches; patch < tile.pieces.size(); ++patch) {
            if (AreBeside(tile, tile.pieces[patch], tile.pieces[region])) {
                ++tile.pieces[region].linkCount;
                ++tile.pieces[patch].linkCount;
                linksFound_.push_back(static_cast<std::uint32_t>(region << 16 | patch));
            }
        }
    }
    std::uint32_t links = 0;
    for (Piece& piece : tile.pieces) {
        piece.links = links;
        links += piece.linkCount;
        piece.linkCount = 0;
    }
    tile.links.resize(links);
    for (const std::uint32_t found : linksFound_) {
        Piece& region = tile.pieces[found >> 16];
        Piece& patch = tile.pieces[found & 0xFFFFu];
        tile.links[region.links + region.linkCount++] = static_cast<std::uint16_t>(found & 0xFFFFu);
        tile.links[patch.links + patch.linkCount++] = static_cast<std::uint16_t>(found >> 16);
    }
}

}  // namespace Korvane

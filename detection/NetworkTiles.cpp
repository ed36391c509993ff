#include "NetworkTiles.h"

#include <algorithm>

namespace Korvane {
namespace {

using Word = BitGrid::Word;

// Carries bits over all open ones that hang together with them: upwards by the carry of an addition, which runs to the
// end of a stretch of ones, downwards in steps that double; three of them are mostly enough.
Word Carried(Word reached, Word open) {
    const auto below = [&] { return open & (reached >> 1) & ~reached; };
    Word through = open;
    const auto step = [&](int length) {
        reached |= through & (reached >> length);
        through &= through >> length;
    };
    reached = open & (~(open + reached) | reached);
    if (below() == 0) {
        return reached;
    }
    step(1);
    step(2);
    step(4);
    if (below() != 0) {
        step(8);
        step(16);
        step(32);
    }
    return reached;
}

// What is on rows y0 to y1, and around it, of 64 rows; the other rows are left alone.
void Around(const Word* rows, int y0, int y1, std::array<Word, 64>& around) {
    const auto at = [&](int y) { return y >= y0 && y <= y1 ? rows[y - y0] : 0; };
    Word above = 0;
    Word here = 0;
    for (int y = y0 - 1; y <= y1 + 1; ++y) {
        const Word below = at(y + 1);
        const Word near = above | here | below;
        if (y >= 0 && y < 64) {
            around[static_cast<std::size_t>(y)] = near | near << 1 | near >> 1;
        }
        above = here;
        here = below;
    }
}

}  // namespace

NetworkTiles::NetworkTiles(int width, int height)
    : tilesPerRow_((width + kSide - 1) / kSide),
      tileRows_((height + kSide - 1) / kSide),
      bits_(static_cast<std::size_t>(tilesPerRow_) * static_cast<std::size_t>(tileRows_)),
      tiles_(bits_.size()) {}

void NetworkTiles::AddPatch(const PixelRun& run) {
    ChangeRun(run, [&](std::int32_t tile, std::size_t row, Word bits) {
        BitsOf(tile).patch[row] |= bits;
        tiles_[static_cast<std::size_t>(tile)].stale = true;
    });
}

void NetworkTiles::AddRegion(const PixelRun& run) {
    ChangeRun(run, [&](std::int32_t tile, std::size_t row, Word bits) {
        BitsOf(tile).region[row] |= bits;
        RegionChanged(tile);
    });
}

void NetworkTiles::TurnPatch(PieceAt at) {
    const Piece& piece = Get(at);
    const Word* rows = RowsOf(at);
    Bits& bits = BitsOf(at.tile);
    for (std::size_t y = piece.y0; y <= piece.y1; ++y) {
        bits.region[y] |= rows[y - piece.y0];
        bits.patch[y] &= ~rows[y - piece.y0];
    }
    RegionChanged(at.tile);
}

void NetworkTiles::ClearRegion(const PixelRun& run) {
    ChangeRun(run, [&](std::int32_t tile, std::size_t row, Word bits) {
        Bits& at = BitsOf(tile);
        bits &= at.region[row];
        if (bits != 0) {
            at.region[row] &= ~bits;
            at.patch[row] |= bits;
            RegionChanged(tile);
        }
    });
}

void NetworkTiles::RegionChanged(std::int32_t tile) {
    Tile& changed = tiles_[static_cast<std::size_t>(tile)];
    changed.stale = true;
    if (!changed.isToTake) {
        changed.isToTake = true;
        toTake_.push_back(tile);
    }
}

NetworkTiles::PieceAt NetworkTiles::Find(int x, int y) {
    PieceAt at{TileAt(x, y), 0};
    Refresh(at.tile);
    while ((RowOf(at, y) & BitGrid::Bit(x)) == 0) {
        ++at.piece;
    }
    return at;
}

void NetworkTiles::FindPieces(std::int32_t number) {
    Tile& tile = tiles_[static_cast<std::size_t>(number)];
    Bits& bits = BitsOf(number);
    tile.stale = false;
    if (bits.region == bits.regionBefore && bits.patch == bits.patchBefore) {
        return;
    }
    last_.pieces.swap(tile.pieces);
    last_.rows.swap(tile.rows);
    last_.links.swap(tile.links);
    std::swap(last_.regions, tile.regions);
    tile.pieces.clear();
    tile.rows.clear();
    keptAs_.assign(last_.pieces.size(), -1);
    const KindCount regions = FindPieces(tile, bits.region, bits.regionBefore, false);
    tile.regions = static_cast<std::int32_t>(regions.end);
    const KindCount patches = FindPieces(tile, bits.patch, bits.patchBefore, true);
    bits.regionBefore = bits.region;
    bits.patchBefore = bits.patch;
    ListSides(tile);
    Link(tile, regions, patches);
}

// A piece with no change in it or beside it is what it was, and nothing else has joined it.
NetworkTiles::KindCount NetworkTiles::FindPieces(Tile& tile, const Rows& now, const Rows& before, bool arePatches) {
    Rows changed;
    for (std::size_t y = 0; y < kSide; ++y) {
        changed[y] = now[y] ^ before[y];
    }
    Rows around;
    around[0] = Wider(changed[0] | changed[1]);
    for (std::size_t y = 1; y + 1 < kSide; ++y) {
        around[y] = Wider(changed[y - 1] | changed[y] | changed[y + 1]);
    }
    around[kSide - 1] = Wider(changed[kSide - 2] | changed[kSide - 1]);
    Rows left = now;
    KindCount count{tile.pieces.size(), 0, 0};
    const auto regions = static_cast<std::size_t>(last_.regions);
    for (std::size_t i = arePatches ? regions : 0; i < (arePatches ? last_.pieces.size() : regions); ++i) {
        const Piece& piece = last_.pieces[i];
        const Word* rows = last_.rows.data() + piece.rows;
        Word met = 0;
        for (std::size_t y = piece.y0; y <= piece.y1; ++y) {
            met |= rows[y - piece.y0] & around[y];
        }
        if (met == 0) {
            Keep(tile, i, left);
        }
    }
    count.firstNew = tile.pieces.size();
    Flood(tile, left, arePatches);
    count.end = tile.pieces.size();
    return count;
}

void NetworkTiles::Keep(Tile& tile, std::size_t last, Rows& left) {
    keptAs_[last] = static_cast<std::int32_t>(tile.pieces.size());
    Piece piece = last_.pieces[last];
    const Word* rows = last_.rows.data() + piece.rows;
    piece.rows = static_cast<std::uint32_t>(tile.rows.size());
    piece.linkCount = 0;
    tile.rows.insert(tile.rows.end(), rows, rows + (piece.y1 - piece.y0 + 1));
    for (std::size_t y = piece.y0; y <= piece.y1; ++y) {
        left[y] &= ~rows[y - piece.y0];
    }
    tile.pieces.push_back(piece);
}

// Pixels in neighbouring columns of two neighbouring rows hang together whichever of the rows they are in, so two rows
// at a time, a band, are flooded as if they were one.
void NetworkTiles::Flood(Tile& tile, const Rows& pixels, bool arePatches) {
    constexpr std::size_t kBands = kSide / 2;
    std::array<Word, kBands> open;
    for (std::size_t k = 0; k < kBands; ++k) {
        open[k] = pixels[2 * k] | pixels[2 * k + 1];
    }
    std::array<Word, kBands> seeds{};
    Rows reached;
    for (std::size_t start = 0; start < kBands; ++start) {
        while (open[start] != 0) {
            std::size_t end = start;
            seeds[start] = open[start] & (~open[start] + 1);
            reached[2 * start] = reached[2 * start + 1] = 0;
            Word waiting = Word{1} << start;  // bands with seeds
            while (waiting != 0) {
                const auto k = static_cast<std::size_t>(BitGrid::Lowest(waiting));
                waiting &= waiting - 1;
                const Word found = Carried(seeds[k], open[k]);
                seeds[k] = 0;
                open[k] &= ~found;
                const Word upper = found & pixels[2 * k];
                const Word lower = found & pixels[2 * k + 1];
                reached[2 * k] |= upper;
                reached[2 * k + 1] |= lower;
                const Word above = k > start ? Wider(upper) & pixels[2 * k - 1] & open[k - 1] : 0;
                if (above != 0) {
                    seeds[k - 1] |= above;
                    waiting |= Word{1} << (k - 1);
                }
                const Word below = k + 1 < kBands ? Wider(lower) & pixels[2 * k + 2] & open[k + 1] : 0;
                if (below != 0) {
                    if (k + 1 > end) {
                        end = k + 1;
                        reached[2 * end] = reached[2 * end + 1] = 0;
                    }
                    seeds[k + 1] |= below;
                    waiting |= Word{1} << (k + 1);
                }
            }
            const int y0 = static_cast<int>(2 * start) + (reached[2 * start] == 0 ? 1 : 0);
            const int y1 = static_cast<int>(2 * end) + (reached[2 * end + 1] != 0 ? 1 : 0);
            AddPiece(tile, reached, y0, y1, arePatches);
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
    tile.rows.insert(tile.rows.end(), rows.begin() + y0, rows.begin() + y1 + 1);
    for (int y = y0; y <= y1; ++y) {
        const Word row = rows[static_cast<std::size_t>(y)];
        piece.columns |= row;
        piece.left |= (row & 1u) << y;
        piece.right |= (row >> (kSide - 1)) << y;
    }
    tile.pieces.push_back(piece);
}

void NetworkTiles::ListSides(Tile& tile) {
    tile.atSides.clear();
    const auto list = [&](Side side, Word Piece::*pixels) {
        tile.sideStarts[side] = static_cast<std::uint16_t>(tile.atSides.size());
        for (std::size_t i = 0; i < tile.pieces.size(); ++i) {
            if (tile.pieces[i].*pixels != 0) {
                tile.atSides.push_back({tile.pieces[i].*pixels, static_cast<std::int32_t>(i)});
            }
        }
    };
    list(kTop, &Piece::top);
    list(kBottom, &Piece::bottom);
    list(kLeft, &Piece::left);
    list(kRight, &Piece::right);
    tile.sideStarts[kSides] = static_cast<std::uint16_t>(tile.atSides.size());
}

// Whether b has a pixel in what is around the pixels of a.
bool NetworkTiles::AreBeside(const Tile& tile, const Rows& around, const Piece& a, const Piece& b) {
    const int y0 = std::max<int>(a.y0 - 1, b.y0);
    const int y1 = std::min<int>(a.y1 + 1, b.y1);
    if (y0 > y1 || (Wider(a.columns) & b.columns) == 0) {
        return false;
    }
    const Word* rows = tile.rows.data() + b.rows;
    Word met = 0;
    for (int y = y0; y <= y1; ++y) {
        met |= around[static_cast<std::size_t>(y)] & rows[y - b.y0];
    }
    return met != 0;
}

void NetworkTiles::Link(Tile& tile, const KindCount& regions, const KindCount& patches) {
    linksFound_.clear();
    LinkKept();
    Rows around;
    const auto find = [&](std::size_t number, std::size_t first, std::size_t end) {
        const Piece& piece = tile.pieces[number];
        Around(tile.rows.data() + piece.rows, piece.y0, piece.y1, around);
        for (std::size_t other = first; other < end; ++other) {
            if (AreBeside(tile, around, piece, tile.pieces[other])) {
                linksFound_.push_back(
                    static_cast<std::uint32_t>(std::min(number, other) << 16 | std::max(number, other)));
            }
        }
    };
    for (std::size_t region = regions.firstNew; region < regions.end; ++region) {
        find(region, patches.first, patches.end);
    }
    for (std::size_t patch = patches.firstNew; patch < patches.end; ++patch) {
        find(patch, regions.first, regions.firstNew);
    }
    for (const std::uint32_t found : linksFound_) {
        ++tile.pieces[found >> 16].linkCount;
        ++tile.pieces[found & 0xFFFFu].linkCount;
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

// Pieces that are both kept are beside each other if they were.
void NetworkTiles::LinkKept() {
    for (std::size_t region = 0; region < static_cast<std::size_t>(last_.regions); ++region) {
        if (keptAs_[region] < 0) {
            continue;
        }
        const Piece& piece = last_.pieces[region];
        for (std::size_t i = piece.links; i < std::size_t{piece.links} + piece.linkCount; ++i) {
            const std::int32_t patch = keptAs_[last_.links[i]];
            if (patch >= 0) {
                linksFound_.push_back(static_cast<std::uint32_t>(keptAs_[region] << 16 | patch));
            }
        }
    }
}

}  // namespace Korvane

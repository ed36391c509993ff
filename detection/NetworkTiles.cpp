#include "NetworkTiles.h"

#include <algorithm>

namespace Korvane {
namespace {

using Word = BitGrid::Word;

// Carries bits over all open ones that hang together with them: upwards by the carry of an addition, which runs to the
// end of a stretch of ones, downwards in steps that double; three of them are mostly enough.
Word Carried(Word reached, Word open) {
    Word through = open;
    const auto step = [&](int length) {
        reached |= through & (reached >> length);
        through &= through >> length;
    };
    reached = open & (~(open + reached) | reached);
    step(1);
    step(2);
    step(4);
    if ((open & (reached >> 1) & ~reached) != 0) {
        step(8);
        step(16);
        step(32);
    }
    return reached;
}

// What is on rows y0 to y1, or next to them: row y is around[y + 1].
using RowsAround = std::array<Word, 66>;
void FindAround(const Word* rows, int y0, int y1, RowsAround& around) {
    Word* to = around.data() + y0;
    Word above = 0;
    Word here = 0;
    for (const Word* below = rows; below <= rows + (y1 - y0); ++below, ++to) {
        *to = Wider(above | here | *below);
        above = here;
        here = *below;
    }
    to[0] = Wider(above | here);
    to[1] = Wider(here);
}

// What differs in the rows of two tiles, and what is around it.
RowsAround FindAroundChanges(const std::array<Word, 64>& now, const std::array<Word, 64>& before) {
    std::array<Word, 68> wide;  // row y is wide[y + 2]
    wide[0] = wide[1] = wide[66] = wide[67] = 0;
    for (std::size_t y = 0; y < now.size(); ++y) {
        wide[y + 2] = Wider(now[y] ^ before[y]);
    }
    RowsAround around;
    for (std::size_t y = 0; y < around.size(); ++y) {
        around[y] = wide[y] | wide[y + 1] | wide[y + 2];
    }
    return around;
}

}  // namespace

NetworkTiles::NetworkTiles(int width, int height)
    : tilesPerRow_((width + kSide - 1) / kSide),
      tileRows_((height + kSide - 1) / kSide),
      bits_(static_cast<std::size_t>(tilesPerRow_) * static_cast<std::size_t>(tileRows_)),
      tiles_(bits_.size()) {}

void NetworkTiles::AddPatch(int tileColumn, int y, Word pixels) {
    const std::int32_t tile = TileOf(tileColumn, y);
    BitsOf(tile).patch[RowOf(y)] |= pixels;
    tiles_[static_cast<std::size_t>(tile)].stale = true;
}

bool NetworkTiles::IsPatchAround(int x, int y) const {
    const int bit = x & (kSide - 1);
    const int row = y & (kSide - 1);
    if (bit > 0 && bit < kSide - 1 && row > 0 && row < kSide - 1) {
        const Word* patch = &bits_[static_cast<std::size_t>(TileAt(x, y))].patch[static_cast<std::size_t>(row)];
        return ((patch[-1] | patch[0] | patch[1]) >> (bit - 1) & 7u) != 0;
    }
    for (int v = std::max(y - 1, 0); v <= std::min(y + 1, tileRows_ * kSide - 1); ++v) {
        for (int u = std::max(x - 1, 0); u <= std::min(x + 1, tilesPerRow_ * kSide - 1); ++u) {
            if ((PatchesIn(u / kSide, v) & BitGrid::Bit(u)) != 0) {
                return true;
            }
        }
    }
    return false;
}

void NetworkTiles::TurnPatch(PieceAt at) {
    Piece& piece = Get(at);
    const Word* rows = RowsOf(at);
    Bits& bits = BitsOf(at.tile);
    piece.isPatch = false;
    for (std::size_t y = piece.y0; y <= piece.y1; ++y) {
        bits.region[y] |= rows[y - piece.y0];
        bits.patch[y] &= ~rows[y - piece.y0];
    }
    NoteRegionChange(at.tile);
}

NetworkTiles::PieceAt NetworkTiles::Find(int x, int y) {
    PieceAt at{TileAt(x, y), 0};
    Refresh(at.tile);
    while ((PixelsOfRow(at, y) & BitGrid::Bit(x)) == 0) {
        ++at.piece;
    }
    return at;
}

void NetworkTiles::FindPieces(std::int32_t number) {
    Tile& tile = tiles_[static_cast<std::size_t>(number)];
    Bits& bits = BitsOf(number);
    tile.stale = false;
    if (bits.region == bits.regionBefore && bits.patch == bits.patchBefore) {
        for (std::size_t i = static_cast<std::size_t>(tile.regions); i < tile.pieces.size(); ++i) {
            tile.pieces[i].isPatch = true;  // turned, and cleared again
        }
        return;
    }
    ++tile.timesFound;
    pieces_.clear();
    rowCount_ = 0;
    keptAs_.assign(tile.pieces.size(), -1);
    const KindCount regions = FindPieces(tile, bits.region, bits.regionBefore, false);
    const KindCount patches = FindPieces(tile, bits.patch, bits.patchBefore, true);
    bits.regionBefore = bits.region;
    bits.patchBefore = bits.patch;
    linksFound_.clear();
    FindLinksOfKept(tile);
    FindLinks(regions, patches);
    tile.pieces = pieces_;
    tile.rows.assign(rows_.data(), rows_.data() + rowCount_);
    tile.regions = static_cast<std::int32_t>(regions.end);
    SetLinks(tile);
    ListSides(tile);
}

// A piece with no change in it or beside it is what it was, and nothing else has joined it.
NetworkTiles::KindCount NetworkTiles::FindPieces(const Tile& tile, const Rows& now, const Rows& before,
                                                 bool arePatches) {
    const RowsAround around = FindAroundChanges(now, before);
    Rows left = now;
    KindCount count{pieces_.size(), 0, 0};
    const auto regions = static_cast<std::size_t>(tile.regions);
    for (std::size_t i = arePatches ? regions : 0; i < (arePatches ? tile.pieces.size() : regions); ++i) {
        const Piece& piece = tile.pieces[i];
        const Word* rows = tile.rows.data() + piece.rows;
        std::size_t y = piece.y0;
        while (y <= piece.y1 && (rows[y - piece.y0] & around[y + 1]) == 0) {
            ++y;
        }
        if (y > piece.y1) {
            Keep(tile, i, left);
        }
    }
    count.firstNew = pieces_.size();
    Flood(left, arePatches);
    count.end = pieces_.size();
    return count;
}

void NetworkTiles::Keep(const Tile& tile, std::size_t number, Rows& left) {
    keptAs_[number] = static_cast<std::int32_t>(pieces_.size());
    pieces_.push_back(tile.pieces[number]);
    Piece& piece = pieces_.back();
    piece.isPatch = number >= static_cast<std::size_t>(tile.regions);
    const Word* rows = tile.rows.data() + piece.rows;
    piece.rows = static_cast<std::uint16_t>(rowCount_);
    const auto count = static_cast<std::size_t>(piece.y1 - piece.y0 + 1);
    std::copy(rows, rows + count, rows_.data() + rowCount_);
    rowCount_ += count;
    for (std::size_t i = 0; i < count; ++i) {
        left[piece.y0 + i] &= ~rows[i];
    }
}

// Pixels in neighbouring columns of two neighbouring rows hang together whichever of the rows they are in, so two rows
// at a time, a band, are flooded as if they were one. Band k holds rows 2k - 2 and 2k - 1; the outermost are empty.
void NetworkTiles::Flood(const Rows& pixels, bool arePatches) {
    constexpr std::size_t kBands = kSide / 2;
    std::array<Band, kBands + 2> bands;
    bands.front() = bands.back() = Band{};
    for (std::size_t k = 1; k <= kBands; ++k) {
        bands[k] = {pixels[2 * k - 2], pixels[2 * k - 1], 0, 0, 0};
    }
    for (std::size_t start = 1; start <= kBands; ++start) {
        while ((bands[start].upper | bands[start].lower) != 0) {
            const Word open = bands[start].upper | bands[start].lower;
            bands[start].seeds = open & (~open + 1);
            Word waiting = Word{1} << start;  // bands with seeds
            Word reached = 0;
            while (waiting != 0) {
                const auto k = static_cast<std::size_t>(BitGrid::Lowest(waiting));
                Band* const band = bands.data() + k;
                const Word found = Carried(band->seeds, band->upper | band->lower);
                const Word upper = found & band->upper;
                const Word lower = found & band->lower;
                const Word above = Wider(upper) & band[-1].lower;
                const Word below = Wider(lower) & band[1].upper;
                band->seeds = 0;
                band->upper ^= upper;
                band->lower ^= lower;
                band->upperReached |= upper;
                band->lowerReached |= lower;
                band[-1].seeds |= above;
                band[1].seeds |= below;
                reached |= Word{1} << k;
                waiting &= waiting - 1;
                waiting |= Word{above != 0} << (k - 1) | Word{below != 0} << (k + 1);
            }
            AddPiece(bands.data(), start, static_cast<std::size_t>(kSide - 1 - __builtin_clzll(reached)), arePatches);
        }
    }
}

// The bands' reached pixels are a piece; then they are 0 again.
void NetworkTiles::AddPiece(Band* bands, std::size_t first, std::size_t last, bool isPatch) {
    Piece piece{};
    piece.isPatch = isPatch;
    piece.y0 = static_cast<std::uint8_t>(2 * first - (bands[first].upperReached != 0 ? 2 : 1));
    piece.y1 = static_cast<std::uint8_t>(2 * last - (bands[last].lowerReached != 0 ? 1 : 2));
    piece.top = piece.y0 == 0 ? bands[first].upperReached : 0;
    piece.bottom = piece.y1 == kSide - 1 ? bands[last].lowerReached : 0;
    // All rows of the bands are written; an empty last one is written over again.
    piece.rows = static_cast<std::uint16_t>(rowCount_ + (piece.y0 & 1u));
    Word* to = rows_.data() + rowCount_;
    for (Band* band = bands + first; band <= bands + last; ++band, to += 2) {
        to[0] = band->upperReached;
        to[1] = band->lowerReached;
        piece.columns |= band->upperReached | band->lowerReached;
        band->upperReached = band->lowerReached = 0;
    }
    const int count = piece.y1 - piece.y0 + 1;
    rowCount_ = piece.rows + static_cast<std::size_t>(count);
    const Word* rows = rows_.data() + piece.rows;
    for (int i = 0; (piece.columns & 1u) != 0 && i < count; ++i) {
        piece.left |= (rows[i] & 1u) << (piece.y0 + i);
    }
    for (int i = 0; (piece.columns >> (kSide - 1)) != 0 && i < count; ++i) {
        piece.right |= (rows[i] >> (kSide - 1)) << (piece.y0 + i);
    }
    pieces_.push_back(piece);
}

void NetworkTiles::ListSides(Tile& tile) {
    std::array<std::array<AtSide, kSide + 1>, kSides> sides;
    std::array<std::size_t, kSides> counts{};
    for (std::size_t i = 0; i < tile.pieces.size(); ++i) {
        const Piece& piece = tile.pieces[i];
        const auto list = [&](Side side, Word pixels) {
            sides[side][counts[side]] = {pixels, static_cast<std::int32_t>(i)};
            counts[side] += pixels != 0 ? 1 : 0;
        };
        list(kTop, piece.top);
        list(kBottom, piece.bottom);
        list(kLeft, piece.left);
        list(kRight, piece.right);
    }
    tile.atSides.clear();
    for (std::size_t side = 0; side < kSides; ++side) {
        tile.sideStarts[side] = static_cast<std::uint16_t>(tile.atSides.size());
        tile.atSides.insert(tile.atSides.end(), sides[side].data(), sides[side].data() + counts[side]);
    }
    tile.sideStarts[kSides] = static_cast<std::uint16_t>(tile.atSides.size());
}

void NetworkTiles::FindLinks(const KindCount& regions, const KindCount& patches) {
    RowsAround around;
    const auto find = [&](std::size_t number, std::size_t first, std::size_t end) {
        const Piece& piece = pieces_[number];
        FindAround(rows_.data() + piece.rows, piece.y0, piece.y1, around);
        const Word columns = Wider(piece.columns);
        const int y0 = piece.y0 - 1;
        const int y1 = piece.y1 + 1;
        for (std::size_t i = first; i < end; ++i) {
            const Piece& other = pieces_[i];
            if (y0 > other.y1 || y1 < other.y0 || (columns & other.columns) == 0) {
                continue;
            }
            const Word* rows = rows_.data() + other.rows;
            const int last = std::min<int>(y1, other.y1);
            int y = std::max<int>(y0, other.y0);
            while (y <= last && (around[static_cast<std::size_t>(y + 1)] & rows[y - other.y0]) == 0) {
                ++y;
            }
            if (y <= last) {
                linksFound_.push_back(static_cast<std::uint32_t>(std::min(number, i) << 16 | std::max(number, i)));
            }
        }
    };
    for (std::size_t region = regions.firstNew; region < regions.end; ++region) {
        find(region, patches.first, patches.end);
    }
    for (std::size_t patch = patches.firstNew; patch < patches.end; ++patch) {
        find(patch, regions.first, regions.firstNew);
    }
}

// Pieces that are both kept are beside each other if they were.
void NetworkTiles::FindLinksOfKept(const Tile& tile) {
    for (std::size_t region = 0; region < static_cast<std::size_t>(tile.regions); ++region) {
        if (keptAs_[region] < 0) {
            continue;
        }
        const Piece& piece = tile.pieces[region];
        for (std::size_t i = piece.links; i < std::size_t{piece.links} + piece.linkCount; ++i) {
            const std::int32_t patch = keptAs_[tile.links[i]];
            if (patch >= 0) {
                linksFound_.push_back(static_cast<std::uint32_t>(keptAs_[region] << 16 | patch));
            }
        }
    }
}

void NetworkTiles::SetLinks(Tile& tile) {
    for (Piece& piece : tile.pieces) {
        piece.linkCount = 0;
    }
    for (const std::uint32_t found : linksFound_) {
        ++tile.pieces[found >> 16].linkCount;
        ++tile.pieces[found & 0xFFFFu].linkCount;
    }
    std::uint16_t links = 0;
    for (Piece& piece : tile.pieces) {
        piece.links = links;
        links = static_cast<std::uint16_t>(links + piece.linkCount);
        piece.linkCount = 0;
    }
    tile.links.resize(links);
    for (const std::uint32_t found : linksFound_) {
        Piece& region = tile.pieces[found >> 16];
        Piece& patch = tile.pieces[found & 0xFFFFu];
        tile.links[static_cast<std::size_t>(region.links + region.linkCount++)] =
            static_cast<std::uint16_t>(found & 0xFFFFu);
        tile.links[static_cast<std::size_t>(patch.links + patch.linkCount++)] = static_cast<std::uint16_t>(found >> 16);
    }
}

}  // namespace Korvane

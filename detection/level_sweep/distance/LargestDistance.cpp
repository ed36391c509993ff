#include "distance/LargestDistance.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "Assert.h"
#include "distance/CityBlockDistances.h"

namespace level_sweep {

using TileErosion::Column;
using TileErosion::kMostMargin;
using TileErosion::Window;

LargestDistance::LargestDistance(int width, int height)
    : set_(width, height), tiles_(static_cast<std::size_t>(set_.Tiles())) {}

void LargestDistance::Change(std::int32_t word, Word pixels) {
    if (pixels == 0) {
        return;
    }
    const std::int32_t y = word / set_.TilesPerRow();
    const std::int32_t number = (y / kSide) * set_.TilesPerRow() + word - y * set_.TilesPerRow();
    Tile& tile = TileOf(number);
    if (tile.changedRows == 0) {
        changed_.push_back(number);
    }
    tile.changedRows |= BitGrid::Bit(y);
    tile.changedColumns |= pixels;
    set_.RowsOf(number)[y % kSide] ^= pixels;
}

void LargestDistance::ResetBounds() {
    for (const std::int32_t number : changed_) {
        ResetBoundsAround(number);
        Tile& tile = TileOf(number);
        tile.isStale = true;
        tile.changedRows = 0;
        tile.changedColumns = 0;
    }
    changed_.clear();
}

// A change can concern a pixel only if it is no further away than the nearest pixel outside the set was or is.
void LargestDistance::ResetBoundsAround(std::int32_t tile) {
    const Tile& at = TileOf(tile);
    const int column = tile % set_.TilesPerRow();
    const int row = tile / set_.TilesPerRow();
    const int reach = (deepest_ + kSide - 1) / kSide;
    const auto gap = [](int tiles, Word changed) {
        const int inside = tiles < 0 ? __builtin_ctzll(changed) : __builtin_clzll(changed);
        return tiles == 0 ? 0 : inside + 1 + (std::abs(tiles) - 1) * kSide;
    };
    for (int v = std::max(-reach, -row); v <= std::min(reach, set_.TileRows() - 1 - row); ++v) {
        const int gapY = gap(v, at.changedRows);
        for (int u = std::max(-reach, -column); u <= std::min(reach, set_.TilesPerRow() - 1 - column); ++u) {
            Tile& near = TileOf(tile + v * set_.TilesPerRow() + u);
            if (near.bound >= gapY + gap(u, at.changedColumns)) {
                near.bound = near.aloneBound;
                near.isExact = false;
            }
        }
    }
}

// Erosions until nothing is left of a tile, as if everything around it were set; kUnbounded where that takes more than
// kMostMargin.
int LargestDistance::AloneBound(std::int32_t tile) const {
    const int rowsInside = set_.RowsInside(tile);
    std::array<Column, 2> columns;
    set_.FillTile(tile, columns[0]);
    TileErosion::Enclose(columns[1], rowsInside);
    for (int erosions = 0; erosions <= kMostMargin; ++erosions) {
        const Column& rows = columns[static_cast<std::size_t>(erosions % 2)];
        if ((TileErosion::AnyOf(&rows[1], rowsInside) & set_.ColumnsInside(tile)) == 0) {
            return erosions;
        }
        TileErosion::Erode(rows, columns[static_cast<std::size_t>(1 - erosions % 2)], rowsInside);
    }
    return kUnbounded;
}

int LargestDistance::Largest(const std::vector<Part>& parts) {
    ResetBounds();
    byBound_.clear();
    for (std::size_t i = 0; i < parts.size(); ++i) {
        Tile& tile = TileOf(parts[i].tile);
        if (tile.isStale) {
            tile.isStale = false;
            tile.aloneBound = AloneBound(parts[i].tile);
            tile.bound = tile.aloneBound;
        }
        byBound_.emplace_back(tile.bound, i);
    }
    std::make_heap(byBound_.begin(), byBound_.end());
    int largest = 0;
    while (!byBound_.empty() && byBound_.front().first > largest) {
        const auto [bound, number] = byBound_.front();
        if (bound > TileErosion::kMostMargin && (bound == kUnbounded || !IsKnown(parts[number]))) {
            return LargestOfDeep(parts);
        }
        largest = std::max(largest, LargestIn(parts[number]));
        std::pop_heap(byBound_.begin(), byBound_.end());
        byBound_.pop_back();
    }
    return largest;
}

// Finds the tile's exact bound as well, which is all there is to know where the part is all of the tile.
int LargestDistance::LargestIn(const Part& part) {
    Tile& tile = TileOf(part.tile);
    if (IsKnown(part)) {
        return tile.bound;
    }
    const int rowsInside = set_.RowsInside(part.tile);
    const int margin = tile.bound;  // pixels further away are not the nearest
    std::array<Window, 2> windows;
    set_.FillWindow(part.tile, margin, windows[0]);
    TileErosion::Enclose(windows[1], rowsInside + 2 * margin);
    int largest = 0;
    int erosions = 0;
    for (;; ++erosions) {
        const Window& window = windows[static_cast<std::size_t>(erosions % 2)];
        const Word* rows = window.centre.data() + 1 + margin;
        if ((TileErosion::AnyOf(rows, rowsInside) & set_.ColumnsInside(part.tile)) == 0) {
            break;
        }
        largest = TileErosion::AnyOfBoth(rows, part.rows, rowsInside) != 0 ? erosions + 1 : largest;
        TileErosion::Erode(window, windows[static_cast<std::size_t>(1 - erosions % 2)], rowsInside + 2 * margin);
    }
    tile.bound = erosions;
    tile.isExact = true;
    return largest;
}

bool LargestDistance::IsKnown(const Part& part) const { return TileOf(part.tile).isExact && IsWhole(part); }

bool LargestDistance::IsWhole(const Part& part) const {
    return std::equal(part.rows, part.rows + kSide, set_.RowsOf(part.tile));
}

// With one more pixel on every side: pixels adjacent to those given are not of the set.
PixelBox LargestDistance::BoxAround(const std::vector<Part>& parts) const {
    PixelBox box;
    for (const Part& part : parts) {
        const PixelPosition origin = set_.OriginOf(part.tile);
        box.Include({origin.y, origin.x, origin.x + kSide - 1});
        box.Include({origin.y + kSide - 1, origin.x, origin.x + kSide - 1});
    }
    box.Grow(1, set_.Width(), set_.Height());
    return box;
}

int LargestDistance::LargestOfDeep(const std::vector<Part>& parts) {
    const CityBlockDistances distances(set_, BoxAround(parts));
    int largest = 0;
    for (const Part& part : parts) {
        const PixelPosition origin = set_.OriginOf(part.tile);
        int here = 0;
        for (int i = 0; i < set_.RowsInside(part.tile); ++i) {
            const std::int32_t* row = distances.From(origin.x, origin.y + i);
            ForEachBit(part.rows[i], [&](std::size_t x) { here = std::max(here, row[x]); });
        }
        if (IsWhole(part)) {
            TileOf(part.tile).bound = here;
            TileOf(part.tile).isExact = true;
            deepest_ = std::max(deepest_, here);
        }
        largest = std::max(largest, here);
    }
    return largest;
}

void LargestDistance::CheckInvariants() const {
#ifdef KORVANE_ASSERTIONS
    if (!changed_.empty()) {
        return;
    }
    const CityBlockDistances distances(set_, {0, 0, set_.Width() - 1, set_.Height() - 1});
    for (std::int32_t number = 0; number < set_.Tiles(); ++number) {
        const Tile& tile = TileOf(number);
        if (tile.isStale) {
            continue;
        }
        const PixelPosition origin = set_.OriginOf(number);
        int largest = 0;
        for (int i = 0; i < set_.RowsInside(number); ++i) {
            KORVANE_ASSERT((set_.RowsOf(number)[i] & ~set_.ColumnsInside(number)) == 0);
            const std::int32_t* row = distances.From(origin.x, origin.y + i);
            ForEachBit(set_.RowsOf(number)[i], [&](std::size_t x) { largest = std::max(largest, row[x]); });
        }
        KORVANE_ASSERT(tile.aloneBound == AloneBound(number));
        KORVANE_ASSERT(tile.bound <= tile.aloneBound);
        KORVANE_ASSERT(tile.bound == kUnbounded || tile.bound <= deepest_);
        KORVANE_ASSERT(largest <= tile.bound || largest >= set_.Width() + set_.Height());
        KORVANE_ASSERT(!tile.isExact || tile.bound == largest);
    }
#endif
}

}  // namespace level_sweep

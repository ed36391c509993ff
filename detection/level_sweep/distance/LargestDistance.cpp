#include "distance/LargestDistance.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "distance/TileDistances.h"

namespace level_sweep {

using TileErosion::Column;
using TileErosion::Window;

LargestDistance::LargestDistance(int width, int height)
    : set_(width, height), tiles_(static_cast<std::size_t>(set_.Tiles())) {}

void LargestDistance::Add(std::int32_t word, Word pixels) {
    const Word added = pixels & ~set_.RowsOf(TileOfWord(word))[RowOfWord(word)];
    if (added != 0) {
        Tile& tile = Change(word, added);
        tile.addedRows |= BitGrid::Bit(RowOfWord(word));
        tile.addedColumns |= added;
    }
}

void LargestDistance::Remove(std::int32_t word, Word pixels) {
    const Word removed = pixels & set_.RowsOf(TileOfWord(word))[RowOfWord(word)];
    if (removed != 0) {
        Change(word, removed);
    }
}

LargestDistance::Tile& LargestDistance::Change(std::int32_t word, Word pixels) {
    const std::int32_t number = TileOfWord(word);
    Tile& tile = TileOf(number);
    if (tile.changedRows == 0) {
        changed_.push_back(number);
    }
    tile.changedRows |= BitGrid::Bit(RowOfWord(word));
    tile.changedColumns |= pixels;
    set_.RowsOf(number)[RowOfWord(word)] ^= pixels;
    return tile;
}

// When pixels join the set, a pixel whose nearest pixel outside was one of them has to go on from there: by no more than
// the new distance of that one. So a distance grows by no more than the largest new distance of the pixels that joined.
void LargestDistance::UpdateBounds() {
    for (const std::int32_t number : changed_) {
        Tile& tile = TileOf(number);
        const Erosions erosions = ErosionsOf(number);
        tile.aloneBound = erosions.alone;
        NoteChange(number, erosions.added);
        tile.changedRows = tile.changedColumns = 0;
        tile.addedRows = tile.addedColumns = 0;
    }
    changed_.clear();
    for (const std::int32_t number : concerned_) {
        Tile& tile = TileOf(number);
        const bool isBounded = tile.bound != kUnbounded && tile.rise <= deepest_ && tile.bound <= deepest_ - tile.rise;
        tile.bound = isBounded ? std::min(tile.bound + tile.rise, tile.aloneBound) : tile.aloneBound;
        tile.rise = 0;
        tile.isConcerned = false;
        tile.isExact = false;
    }
    concerned_.clear();
}

// A change can concern a pixel only if it is no further away than the nearest pixel outside the set was before.
void LargestDistance::NoteChange(std::int32_t tile, int rise) {
    const Tile& at = TileOf(tile);
    const int column = tile % set_.TilesPerRow();
    const int row = tile / set_.TilesPerRow();
    const int reach = (deepest_ + kSide - 1) / kSide;
    const auto gap = [](int tiles, Word changed) {
        const int inside = tiles < 0 ? LowestBit(changed) : kSide - 1 - HighestBit(changed);
        return tiles == 0 ? 0 : inside + 1 + (std::abs(tiles) - 1) * kSide;
    };
    for (int v = std::max(-reach, -row); v <= std::min(reach, set_.TileRows() - 1 - row); ++v) {
        const int gapY = gap(v, at.changedRows);
        for (int u = std::max(-reach, -column); u <= std::min(reach, set_.TilesPerRow() - 1 - column); ++u) {
            const std::int32_t number = tile + v * set_.TilesPerRow() + u;
            Tile& near = TileOf(number);
            if (near.bound < gapY + gap(u, at.changedColumns)) {
                continue;
            }
            if (!near.isConcerned) {
                near.isConcerned = true;
                concerned_.push_back(number);
            }
            near.rise = std::max(near.rise, rise);
        }
    }
}

LargestDistance::Erosions LargestDistance::ErosionsOf(std::int32_t tile) const {
    const int rowsInside = set_.RowsInside(tile);
    const Word inside = set_.ColumnsInside(tile);
    const Tile& at = TileOf(tile);
    const Word addedColumns = at.addedColumns & inside;
    std::array<Column, 2> columns;
    set_.FillTile(tile, columns[0]);
    TileErosion::Enclose(columns[1], rowsInside);
    Erosions found;
    for (int erosions = 0; erosions <= kMostMargin; ++erosions) {
        const Column& rows = columns[static_cast<std::size_t>(erosions % 2)];
        if (found.added == kUnbounded) {
            Word added = 0;
            ForEachBit(at.addedRows, [&](std::size_t row) { added |= rows[row + 1] & addedColumns; });
            found.added = added == 0 ? erosions : kUnbounded;
        }
        if ((TileErosion::AnyOf(&rows[1], rowsInside) & inside) == 0) {
            found.alone = erosions;
            break;
        }
        TileErosion::Erode(rows, columns[static_cast<std::size_t>(1 - erosions % 2)], rowsInside);
    }
    return found;
}

int LargestDistance::Largest(const std::vector<Part>& parts) {
    UpdateBounds();
    SortByBound(parts);
    int largest = 0;
    while (!byBound_.empty() && byBound_.front().first > largest) {
        largest = std::max(largest, LargestIn(parts[byBound_.front().second], largest));
        std::pop_heap(byBound_.begin(), byBound_.end());
        byBound_.pop_back();
    }
    return largest;
}

void LargestDistance::SortByBound(const std::vector<Part>& parts) {
    byBound_.clear();
    bool areStepsKnown = false;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        int bound = TileOf(parts[i].tile).bound;
        if (bound == kUnbounded) {
            if (!areStepsKnown) {
                FindTileSteps();
                areStepsKnown = true;
            }
            bound = BoundBySteps(parts[i].tile);
        }
        byBound_.emplace_back(bound, i);
    }
    std::make_heap(byBound_.begin(), byBound_.end());
}

void LargestDistance::FindTileSteps() {
    const auto perRow = static_cast<std::size_t>(set_.TilesPerRow());
    const auto tiles = static_cast<std::size_t>(set_.Tiles());
    tileSteps_.resize(tiles);
    const int far = set_.TilesPerRow() + set_.TileRows();
    for (std::size_t i = 0; i < tiles; ++i) {
        const int west = i % perRow > 0 ? tileSteps_[i - 1] : far;
        const int north = i >= perRow ? tileSteps_[i - perRow] : far;
        tileSteps_[i] = tiles_[i].aloneBound != kUnbounded ? 0 : std::min(west, north) + 1;
    }
    for (std::size_t i = tiles; i-- > 0;) {
        const int east = i % perRow + 1 < perRow ? tileSteps_[i + 1] : far;
        const int south = i + perRow < tiles ? tileSteps_[i + perRow] : far;
        tileSteps_[i] = std::min({tileSteps_[i], east + 1, south + 1});
    }
}

// A step takes kSide pixels at most, and in a tile that erosions empty no pixel outside the set is further away than
// kMostMargin.
int LargestDistance::BoundBySteps(std::int32_t tile) const {
    const int steps = tileSteps_[static_cast<std::size_t>(tile)];
    return steps <= (kUnbounded - kMostMargin) / kSide ? steps * kSide + kMostMargin : kUnbounded;
}

int LargestDistance::LargestIn(const Part& part, int found) {
    const Tile& tile = TileOf(part.tile);
    if (IsKnown(part)) {
        return tile.bound;
    }
    return tile.bound <= kMostMargin ? LargestByErosion(part) : LargestOfDeep(part, found);
}

// Finds the tile's exact bound as well, which is all there is to know where the part is all of the tile.
int LargestDistance::LargestByErosion(const Part& part) {
    Tile& tile = TileOf(part.tile);
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

// 0 where nothing exceeds the largest distance found so far.
int LargestDistance::LargestOfDeep(const Part& part, int found) {
    TileDistances distances(set_, part.tile);
    Tile& tile = TileOf(part.tile);
    tile.bound = std::min(tile.bound, distances.Bound());
    if (tile.bound <= found) {
        return 0;
    }
    distances.Find();
    tile.bound = distances.LargestOf(set_.RowsOf(part.tile));
    tile.isExact = true;
    deepest_ = std::max(deepest_, tile.bound);
    return IsWhole(part) ? tile.bound : distances.LargestOf(part.rows);
}

bool LargestDistance::IsKnown(const Part& part) const { return TileOf(part.tile).isExact && IsWhole(part); }

bool LargestDistance::IsWhole(const Part& part) const {
    return std::equal(part.rows, part.rows + kSide, set_.RowsOf(part.tile));
}

}  // namespace level_sweep

#include "distance/LargestDistance.h"

#include <algorithm>
#include <cstdlib>

namespace level_sweep {

using TileErosion::kMostMargin;

LargestDistance::LargestDistance(int width, int height)
    : width_(width),
      height_(height),
      tilesPerRow_((width + kSide - 1) / kSide),
      tileRows_((height + kSide - 1) / kSide),
      beyondLast_(width % kSide == 0 ? 0 : ~Word{0} << (width % kSide)),
      rows_(static_cast<std::size_t>(tilesPerRow_) * static_cast<std::size_t>(tileRows_) * kSide),
      tiles_(static_cast<std::size_t>(tilesPerRow_) * static_cast<std::size_t>(tileRows_)) {}

void LargestDistance::Change(std::int32_t word, Word pixels) {
    if (pixels == 0) {
        return;
    }
    const std::int32_t y = word / tilesPerRow_;
    const std::int32_t number = (y / kSide) * tilesPerRow_ + word - y * tilesPerRow_;
    Tile& tile = TileOf(number);
    if (tile.changedRows == 0) {
        changed_.push_back(number);
    }
    tile.changedRows |= BitGrid::Bit(y);
    tile.changedColumns |= pixels;
    RowsOf(number)[y % kSide] ^= pixels;
}

void LargestDistance::TakeBoundsBack() {
    for (const std::int32_t number : changed_) {
        TakeBoundsBackAround(number);
        Tile& tile = TileOf(number);
        tile.isStale = true;
        tile.changedRows = 0;
        tile.changedColumns = 0;
    }
    changed_.clear();
}

// A pixel has to do with a change only if it is no further away than the nearest pixel outside the set was or is.
void LargestDistance::TakeBoundsBackAround(std::int32_t tile) {
    const Tile& at = TileOf(tile);
    const int column = tile % tilesPerRow_;
    const int row = tile / tilesPerRow_;
    const int reach = (deepest_ + kSide - 1) / kSide;
    const auto gap = [](int tiles, Word changed) {
        const int inside = tiles < 0 ? __builtin_ctzll(changed) : __builtin_clzll(changed);
        return tiles == 0 ? 0 : inside + 1 + (std::abs(tiles) - 1) * kSide;
    };
    for (int v = std::max(-reach, -row); v <= std::min(reach, tileRows_ - 1 - row); ++v) {
        const int gapY = gap(v, at.changedRows);
        for (int u = std::max(-reach, -column); u <= std::min(reach, tilesPerRow_ - 1 - column); ++u) {
            Tile& near = TileOf(tile + v * tilesPerRow_ + u);
            if (near.bound >= gapY + gap(u, at.changedColumns)) {
                near.bound = near.aloneBound;
                near.isReached = false;
            }
        }
    }
}

int LargestDistance::RowsInside(std::int32_t tile) const {
    return std::min(kSide, height_ - tile / tilesPerRow_ * kSide);
}

LargestDistance::Word LargestDistance::InsideColumns(int column) const {
    return column == tilesPerRow_ - 1 ? ~beyondLast_ : ~Word{0};
}

// Erosions until nothing is left of a tile, as if everything around it were set; kUnbounded where that takes more than
// kMostMargin.
int LargestDistance::AloneBound(std::int32_t tile) {
    const int rowsInside = RowsInside(tile);
    std::array<Column, 2> columns;
    FillColumn(tile % tilesPerRow_, tile / tilesPerRow_ * kSide, rowsInside, columns[0]);
    TileErosion::Enclose(columns[1], rowsInside);
    for (int erosions = 0; erosions <= kMostMargin; ++erosions) {
        const Column& left = columns[static_cast<std::size_t>(erosions % 2)];
        if ((TileErosion::AnyOf(&left[1], rowsInside) & InsideColumns(tile % tilesPerRow_)) == 0) {
            return erosions;
        }
        TileErosion::Erode(left, columns[static_cast<std::size_t>(1 - erosions % 2)], rowsInside);
    }
    return kUnbounded;
}

int LargestDistance::Largest(const std::vector<Part>& parts) {
    TakeBoundsBack();
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

// Finds out the tile's largest as well; that is all there is to know where the part is all of the tile.
int LargestDistance::LargestIn(const Part& part) {
    Tile& tile = TileOf(part.tile);
    if (IsKnown(part)) {
        return tile.bound;
    }
    const int rowsInside = RowsInside(part.tile);
    const int margin = tile.bound;  // what is further away is not the nearest
    std::array<Window, 2> windows;
    FillWindow(part.tile, margin, windows[0]);
    TileErosion::Enclose(windows[1], rowsInside + 2 * margin);
    int largest = 0;
    int erosions = 0;
    for (;; ++erosions) {
        const Window& left = windows[static_cast<std::size_t>(erosions % 2)];
        const Word* rows = left.centre.data() + 1 + margin;
        if ((TileErosion::AnyOf(rows, rowsInside) & InsideColumns(part.tile % tilesPerRow_)) == 0) {
            break;
        }
        largest = TileErosion::AnyOfBoth(rows, part.rows, rowsInside) != 0 ? erosions + 1 : largest;
        TileErosion::Erode(left, windows[static_cast<std::size_t>(1 - erosions % 2)], rowsInside + 2 * margin);
    }
    tile.bound = erosions;
    tile.isReached = true;
    return largest;
}

void LargestDistance::FillWindow(std::int32_t tile, int margin, Window& window) {
    const int column = tile % tilesPerRow_;
    const int first = tile / tilesPerRow_ * kSide - margin;
    const int rows = RowsInside(tile) + 2 * margin;
    FillColumn(column - 1, first, rows, window.west);
    FillColumn(column, first, rows, window.centre);
    FillColumn(column + 1, first, rows, window.east);
}

void LargestDistance::FillColumn(int column, int first, int rows, Column& window) {
    std::fill_n(window.begin(), rows + 2, ~Word{0});
    if (column < 0 || column >= tilesPerRow_) {
        return;
    }
    const Word beyond = ~InsideColumns(column);
    const int last = std::min(first + rows, height_) - 1;
    for (int y = std::max(first, 0); y <= last;) {
        const int end = std::min(last, y | (kSide - 1));
        const Word* from = RowsOf((y / kSide) * tilesPerRow_ + column);
        for (; y <= end; ++y) {
            window[static_cast<std::size_t>(y - first + 1)] = from[y % kSide] | beyond;
        }
    }
}

bool LargestDistance::IsKnown(const Part& part) { return TileOf(part.tile).isReached && IsWhole(part); }

bool LargestDistance::IsWhole(const Part& part) { return std::equal(part.rows, part.rows + kSide, RowsOf(part.tile)); }

// With one more pixel on every side: what is beside the pixels given is not of the set.
LargestDistance::Box LargestDistance::BoxAround(const std::vector<Part>& parts) const {
    int x0 = width_, y0 = height_, x1 = 0, y1 = 0;
    for (const Part& part : parts) {
        const int left = part.tile % tilesPerRow_ * kSide;
        const int top = part.tile / tilesPerRow_ * kSide;
        x0 = std::min(x0, left);
        y0 = std::min(y0, top);
        x1 = std::max(x1, left + kSide);
        y1 = std::max(y1, top + kSide);
    }
    x0 = std::max(x0 - 1, 0);
    y0 = std::max(y0 - 1, 0);
    return {x0, y0, std::min(x1 + 1, width_) - x0, std::min(y1 + 1, height_) - y0};
}

// Down and right, then up and left (Rosenfeld and Pfaltz, 1966).
void LargestDistance::MeasureDistances(const Box& box) {
    const auto width = static_cast<std::size_t>(box.width);
    const auto height = static_cast<std::size_t>(box.height);
    const int far = width_ + height_;
    distances_.resize(width * height);
    for (std::size_t y = 0; y < height; ++y) {
        std::int32_t* row = &distances_[y * width];
        int before = far;
        for (std::size_t x = 0; x < width; ++x) {
            const int column = box.x0 + static_cast<int>(x);
            const bool isSet = IsSet(column, box.y0 + static_cast<int>(y));
            before = isSet ? std::min(before, y > 0 ? row[x - width] : far) + 1 : 0;
            row[x] = before;
        }
    }
    for (std::size_t y = height; y-- > 0;) {
        std::int32_t* row = &distances_[y * width];
        int after = far;
        for (std::size_t x = width; x-- > 0;) {
            after = std::min({row[x], after + 1, (y + 1 < height ? row[x + width] : far) + 1});
            row[x] = after;
        }
    }
}

int LargestDistance::LargestOfDeep(const std::vector<Part>& parts) {
    const Box box = BoxAround(parts);
    MeasureDistances(box);
    int largest = 0;
    for (const Part& part : parts) {
        const int left = part.tile % tilesPerRow_ * kSide;
        const int top = part.tile / tilesPerRow_ * kSide;
        int here = 0;
        for (int i = 0; i < RowsInside(part.tile); ++i) {
            const std::int32_t* row =
                &distances_[static_cast<std::size_t>(top + i - box.y0) * static_cast<std::size_t>(box.width)] +
                (left - box.x0);
            for (Word pixels = part.rows[i]; pixels != 0; pixels &= pixels - 1) {
                here = std::max(here, row[BitGrid::LowestBit(pixels)]);
            }
        }
        if (IsWhole(part)) {
            TileOf(part.tile).bound = here;
            TileOf(part.tile).isReached = true;
            deepest_ = std::max(deepest_, here);
        }
        largest = std::max(largest, here);
    }
    std::vector<std::int32_t>().swap(distances_);
    return largest;
}

}  // namespace level_sweep

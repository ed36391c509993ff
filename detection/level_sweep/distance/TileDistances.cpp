#include "distance/TileDistances.h"

#include <algorithm>
#include <cstdlib>

namespace level_sweep {
namespace {

template <typename Side>
void Spread(Side& side) {
    for (std::size_t i = 1; i < side.size(); ++i) {
        side[i] = std::min(side[i], side[i - 1] + 1);
    }
    for (std::size_t i = side.size() - 1; i-- > 0;) {
        side[i] = std::min(side[i], side[i + 1] + 1);
    }
}

/// The largest distance to the nearer end of lines of `length` pixels, given the distances at their ends.
template <typename Side>
int LargestBetween(const Side& from, const Side& to, int lines, int length) {
    const int along = length - 1;
    int largest = 0;
    for (std::size_t i = 0; i < static_cast<std::size_t>(lines); ++i) {
        // Added without a sign: two distances may exceed an int.
        const unsigned both = static_cast<unsigned>(from[i]) + static_cast<unsigned>(to[i]);
        const auto inBetween = static_cast<int>((both + static_cast<unsigned>(along)) / 2);
        largest = std::max(largest, std::min({from[i] + along, to[i] + along, inBetween}));
    }
    return largest;
}

}  // namespace

TileDistances::TileDistances(const TiledSet& set, std::int32_t tile)
    : set_(set),
      tile_(tile),
      column_(tile % set.TilesPerRow()),
      row_(tile / set.TilesPerRow()),
      rowsInside_(set.RowsInside(tile)),
      columnsInside_(HighestBit(set.ColumnsInside(tile)) + 1),
      far_(set.Width() + set.Height()),
      bound_(far_) {
    for (Side* side : {&north_, &south_, &west_, &east_}) {
        side->fill(far_);
    }
    const int rings = std::max({column_, set.TilesPerRow() - 1 - column_, row_, set.TileRows() - 1 - row_});
    for (int ring = 1; ring <= rings && (ring - 1) * kSide + 1 < bound_; ++ring) {
        IncludeRing(ring);
        FindBound();
    }
}

void TileDistances::IncludeRing(int ring) {
    for (int v = -ring; v <= ring; ++v) {
        const int step = std::abs(v) == ring ? 1 : 2 * ring;
        for (int u = -ring; u <= ring; u += step) {
            Include(u, v);
        }
    }
}

void TileDistances::Include(int u, int v) {
    const bool isInside = column_ + u >= 0 && column_ + u < set_.TilesPerRow() && row_ + v >= 0 &&
                          row_ + v < set_.TileRows();
    const int nearest = (std::max(std::abs(u), 1) + std::max(std::abs(v), 1) - 2) * kSide + 1;
    if (!isInside || nearest >= bound_) {
        return;
    }
    const std::int32_t number = tile_ + v * set_.TilesPerRow() + u;
    const OtherTile other{u, v, set_.RowsOf(number), set_.RowsInside(number), set_.ColumnsInside(number)};
    if (u == 0) {
        IncludeInColumns(other);
    } else if (v == 0) {
        IncludeInRows(other);
    } else {
        IncludeBeyondCorner(other);
    }
}

void TileDistances::IncludeInColumns(const OtherTile& other) {
    Side& side = other.v < 0 ? north_ : south_;
    Word open = ~Word{0};  // columns in which no nearer pixel has been found
    for (int i = 0; i < other.rowsInside && open != 0; ++i) {
        const int row = other.v < 0 ? kSide - 1 - i : i;
        const int distance = other.DownFrom(row);
        const Word unset = other.Unset(row);
        ForEachBit(unset & open, [&](std::size_t x) { side[x] = std::min(side[x], distance); });
        open &= ~unset;
    }
}

void TileDistances::IncludeInRows(const OtherTile& other) {
    Side& side = other.u < 0 ? west_ : east_;
    for (int row = 0; row < other.rowsInside; ++row) {
        const Word unset = other.Unset(row);
        if (unset != 0) {
            int& distance = side[static_cast<std::size_t>(row)];
            distance = std::min(distance, other.AcrossTo(unset));
        }
    }
}

void TileDistances::IncludeBeyondCorner(const OtherTile& other) {
    int& distance = (other.v < 0 ? north_ : south_)[other.u < 0 ? 0 : kLast];
    for (int row = 0; row < other.rowsInside; ++row) {
        const Word unset = other.Unset(row);
        if (unset != 0) {
            distance = std::min(distance, other.DownFrom(row) + other.AcrossTo(unset));
        }
    }
}

// The pixels outside the set inside the tile are left out.
void TileDistances::FindBound() {
    for (Side* side : {&north_, &south_, &west_, &east_}) {
        Spread(*side);
    }
    bound_ = std::min({bound_, LargestBetween(north_, south_, columnsInside_, rowsInside_),
                       LargestBetween(west_, east_, rowsInside_, columnsInside_)});
}

// Two passes, down and right, then up and left (Rosenfeld and Pfaltz, 1966), from what lies beyond the sides.
void TileDistances::Find() {
    const auto rows = static_cast<std::size_t>(rowsInside_);
    const Word* set = set_.RowsOf(tile_);
    const Word inside = set_.ColumnsInside(tile_);
    for (std::size_t y = 0; y < rows; ++y) {
        Side& row = distances_[y];
        const Side& above = y == 0 ? north_ : distances_[y - 1];
        for (std::size_t x = 0; x <= kLast; ++x) {
            row[x] = y == 0 ? above[x] : std::min(above[x] + 1, far_);
            row[x] = y + 1 == rows ? std::min(row[x], south_[x]) : row[x];
        }
        row[0] = std::min(row[0], west_[y]);
        row[kLast] = std::min(row[kLast], east_[y]);
        ForEachBit(~set[y] & inside, [&](std::size_t x) { row[x] = 0; });
        for (std::size_t x = 1; x <= kLast; ++x) {
            row[x] = std::min(row[x], row[x - 1] + 1);
        }
    }
    for (std::size_t y = rows; y-- > 0;) {
        Side& row = distances_[y];
        for (std::size_t x = 0; y + 1 < rows && x <= kLast; ++x) {
            row[x] = std::min(row[x], distances_[y + 1][x] + 1);
        }
        for (std::size_t x = kLast; x-- > 0;) {
            row[x] = std::min(row[x], row[x + 1] + 1);
        }
    }
}

int TileDistances::LargestOf(const Word* rows) const {
    int largest = 0;
    for (int y = 0; y < rowsInside_; ++y) {
        const Side& row = distances_[static_cast<std::size_t>(y)];
        ForEachBit(rows[y], [&](std::size_t x) { largest = std::max(largest, row[x]); });
    }
    return largest;
}

}  // namespace level_sweep

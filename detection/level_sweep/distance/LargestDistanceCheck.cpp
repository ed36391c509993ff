#include <algorithm>
#include <cstdint>
#include <vector>

#include "Assert.h"
#include "distance/LargestDistance.h"

namespace level_sweep {

#ifdef KORVANE_ASSERTIONS

namespace {

/// All distances of a map, in two passes (Rosenfeld and Pfaltz, 1966).
std::vector<std::int32_t> AllDistances(const TiledSet& set) {
    const auto width = static_cast<std::size_t>(set.Width());
    const auto height = static_cast<std::size_t>(set.Height());
    const int far = set.Width() + set.Height();
    std::vector<std::int32_t> distances(width * height);
    for (std::size_t i = 0; i < distances.size(); ++i) {
        const int west = i % width > 0 ? distances[i - 1] : far;
        const int north = i >= width ? distances[i - width] : far;
        const bool isSet = set.Has(static_cast<int>(i % width), static_cast<int>(i / width));
        distances[i] = isSet ? std::min(west, north) + 1 : 0;
    }
    for (std::size_t i = distances.size(); i-- > 0;) {
        const int east = i % width + 1 < width ? distances[i + 1] : far;
        const int south = i + width < distances.size() ? distances[i + width] : far;
        distances[i] = std::min({distances[i], east + 1, south + 1});
    }
    return distances;
}

}  // namespace

void LargestDistance::CheckInvariants() const {
    if (!changed_.empty()) {
        return;
    }
    const std::vector<std::int32_t> distances = AllDistances(set_);
    const int far = set_.Width() + set_.Height();
    for (std::int32_t number = 0; number < set_.Tiles(); ++number) {
        const Tile& tile = TileOf(number);
        const PixelPosition origin = set_.OriginOf(number);
        int largest = 0;
        for (int i = 0; i < set_.RowsInside(number); ++i) {
            KORVANE_ASSERT((set_.RowsOf(number)[i] & ~set_.ColumnsInside(number)) == 0);
            const auto first = static_cast<std::size_t>(origin.y + i) * static_cast<std::size_t>(set_.Width()) +
                               static_cast<std::size_t>(origin.x);
            ForEachBit(set_.RowsOf(number)[i],
                       [&](std::size_t x) { largest = std::max(largest, distances[first + x]); });
        }
        KORVANE_ASSERT(tile.addedRows == 0 && tile.changedRows == 0 && tile.rise == 0 && !tile.isConcerned);
        KORVANE_ASSERT(tile.aloneBound == ErosionsOf(number).alone);
        KORVANE_ASSERT(tile.bound <= tile.aloneBound);
        KORVANE_ASSERT(tile.bound == kUnbounded || tile.bound <= deepest_);
        KORVANE_ASSERT(largest <= tile.bound || largest >= far);
        KORVANE_ASSERT(!tile.isExact || tile.bound == largest || largest >= far);
    }
}

#else

void LargestDistance::CheckInvariants() const {}

#endif

}  // namespace level_sweep

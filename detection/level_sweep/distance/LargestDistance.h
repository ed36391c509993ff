#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "bits/BitGrid.h"
#include "bits/ZeroedArray.h"
#include "distance/TiledSet.h"

namespace level_sweep {

/// The largest of the city-block distances of a set's pixels to the nearest pixel of the map outside the set, while the
/// set changes. Pixels outside the map count for nothing.
///
/// No distance is kept. Each tile of 64 x 64 pixels has a bound that none of its distances exceeds; a change of the set
/// only resets the bounds of tiles that a distance as long as their bound can connect with it. The largest distance is
/// searched from the largest bound down: a tile is eroded, 64 words of 64 pixels at once, until nothing of it is left,
/// and only if it may exceed the largest distance found so far.
///
/// Invariants, once no change is pending, for each tile that is not stale:
///  1. aloneBound is the number of erosions that empty the tile if everything around it is set, or kUnbounded.
///  2. No distance in the tile exceeds `bound`, and `bound` does not exceed `aloneBound`.
///  3. If isExact, some pixel of the tile has the distance `bound` (0: the tile has no pixel of the set).
///  4. No bound exceeds `deepest_` but kUnbounded.
///
/// Memory: 1/8 byte per pixel, and 32 bytes per tile.
class LargestDistance {
public:
    static constexpr int kSide = TiledSet::kSide;

    LargestDistance(int width, int height);

    /// Changes of the set, by words of a BitGrid.
    void Add(std::int32_t word, Word pixels) { Change(word, pixels & ~At(word)); }
    void Remove(std::int32_t word, Word pixels) { Change(word, pixels & At(word)); }

    /// Tiles are numbered row by row.
    std::int32_t TileAt(int x, int y) const { return set_.TileAt(x, y); }

    /// Some of the set's pixels in a tile: kSide rows.
    struct Part {
        std::int32_t tile;
        const Word* rows;
    };
    /// The largest distance of the pixels given, at most one part of a tile, 0 without any. There has to be a pixel
    /// outside the set, and no pixel of the set may share a side with one that is given without being given itself.
    /// Cost: a look at the bound of each part, and 64 words for each erosion of a tile that has changed or may have the
    /// largest; where distances exceed 63, two passes over the box of the parts.
    int Largest(const std::vector<Part>& parts);

    /// Asserts the invariants. Cost: all distances of the map; nothing without KORVANE_ASSERTIONS.
    void CheckInvariants() const;

private:
    static constexpr int kUnbounded = INT32_MAX;

    struct Tile {
        Word changedRows;  // since bounds were last reset: the rows and columns of all changes
        Word changedColumns;
        int aloneBound;
        int bound;
        bool isExact;
        bool isStale;  // changed since aloneBound was found
    };

    Word& At(std::int32_t word) {
        const std::int32_t y = word / set_.TilesPerRow();
        return set_.RowsOf((y / kSide) * set_.TilesPerRow() + word - y * set_.TilesPerRow())[y % kSide];
    }
    Tile& TileOf(std::int32_t tile) { return tiles_[static_cast<std::size_t>(tile)]; }
    const Tile& TileOf(std::int32_t tile) const { return tiles_[static_cast<std::size_t>(tile)]; }
    void Change(std::int32_t word, Word pixels);
    void ResetBounds();
    void ResetBoundsAround(std::int32_t tile);
    int AloneBound(std::int32_t tile) const;
    int LargestIn(const Part& part);
    bool IsWhole(const Part& part) const;
    bool IsKnown(const Part& part) const;
    int LargestOfDeep(const std::vector<Part>& parts);
    PixelBox BoxAround(const std::vector<Part>& parts) const;

    TiledSet set_;
    ZeroedArray<Tile> tiles_;
    int deepest_ = TileErosion::kMostMargin;
    std::vector<std::int32_t> changed_;  // tiles with pending changes
    std::vector<std::pair<int, std::size_t>> byBound_;
};

}  // namespace level_sweep

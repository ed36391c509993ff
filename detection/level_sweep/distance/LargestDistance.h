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
/// No distance is kept. Each tile of 64 x 64 pixels has a bound that none of its distances exceeds. A change of the set
/// concerns only the tiles that a distance as long as their bound can connect with it: pixels that leave the set make no
/// distance larger, and pixels that join it make none larger by more than the largest of their own new distances. The
/// largest distance is searched from the largest bound down, only in tiles that may exceed the largest one found so
/// far. A tile with a bound below 64 is eroded, 64 words of 64 pixels at once, until nothing of it is left; the others
/// are looked at by TileDistances.
///
/// Invariants, once no change is pending, for each tile:
///  1. aloneBound is the number of erosions that empty the tile if everything around it is set, or kUnbounded.
///  2. No distance in the tile exceeds `bound`, and `bound` does not exceed `aloneBound`.
///  3. If isExact, some pixel of the tile has the distance `bound` (0: the tile has no pixel of the set).
///  4. No bound exceeds `deepest_` but kUnbounded. `deepest_` is kMostMargin, or a distance that was found.
///
/// Memory: 1/8 byte per pixel, and 48 bytes per tile.
class LargestDistance {
public:
    static constexpr int kSide = TiledSet::kSide;

    LargestDistance(int width, int height);

    /// Changes of the set, by words of a BitGrid.
    void Add(std::int32_t word, Word pixels);
    void Remove(std::int32_t word, Word pixels);

    /// Tiles are numbered row by row.
    std::int32_t TileAt(int x, int y) const { return set_.TileAt(x, y); }

    /// Some of the set's pixels in a tile: kSide rows.
    struct Part {
        std::int32_t tile;
        const Word* rows;
    };
    /// The largest distance of the pixels given, at most one part of a tile, 0 without any. There has to be a pixel
    /// outside the set, and no pixel of the set may share a side with one that is given without being given itself.
    /// Cost: a look at the bound of each part; for each tile that has changed, and for each that may have the largest
    /// distance, 64 words for each erosion, or what TileDistances states.
    int Largest(const std::vector<Part>& parts);

    /// Asserts the invariants. Cost: all distances of the map; nothing without KORVANE_ASSERTIONS.
    void CheckInvariants() const;

private:
    static constexpr int kMostMargin = TileErosion::kMostMargin;
    static constexpr int kUnbounded = INT32_MAX;

    struct Tile {
        // Of the pending changes: rows and columns of all of them, and of the pixels that joined.
        Word changedRows, changedColumns;
        Word addedRows, addedColumns;
        int aloneBound;
        int bound;
        int rise;          // the most by which a pending change may make a distance larger
        bool isConcerned;  // by a pending change
        bool isExact;
    };
    /// Erosions until nothing is left of a tile, as if everything around it were set, and until nothing is left of the
    /// pixels that joined it; kUnbounded for more than kMostMargin.
    struct Erosions {
        int alone = kUnbounded;
        int added = kUnbounded;
    };

    std::int32_t TileOfWord(std::int32_t word) const {
        const std::int32_t y = word / set_.TilesPerRow();
        return (y / kSide) * set_.TilesPerRow() + word - y * set_.TilesPerRow();
    }
    int RowOfWord(std::int32_t word) const { return word / set_.TilesPerRow() % kSide; }
    Tile& TileOf(std::int32_t tile) { return tiles_[static_cast<std::size_t>(tile)]; }
    const Tile& TileOf(std::int32_t tile) const { return tiles_[static_cast<std::size_t>(tile)]; }
    Tile& Change(std::int32_t word, Word pixels);
    void UpdateBounds();
    Erosions ErosionsOf(std::int32_t tile) const;
    void NoteChange(std::int32_t tile, int rise);
    void FindTileSteps();
    int BoundBySteps(std::int32_t tile) const;
    void SortByBound(const std::vector<Part>& parts);
    int LargestIn(const Part& part, int found);
    int LargestByErosion(const Part& part);
    int LargestOfDeep(const Part& part, int found);
    bool IsWhole(const Part& part) const;
    bool IsKnown(const Part& part) const;

    TiledSet set_;
    ZeroedArray<Tile> tiles_;
    int deepest_ = kMostMargin;
    std::vector<std::int32_t> changed_;  // tiles with pending changes
    std::vector<std::int32_t> concerned_;
    std::vector<int> tileSteps_;  // from each tile to the nearest one that erosions empty
    std::vector<std::pair<int, std::size_t>> byBound_;
};

}  // namespace level_sweep

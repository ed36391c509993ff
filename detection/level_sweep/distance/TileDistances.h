#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "distance/TiledSet.h"

namespace level_sweep {

/// The city-block distances of a tile's pixels to the nearest pixel of the map outside a set; width + height of the map
/// if there is none. Pixels outside the map count for nothing.
///
/// All that lies outside the tile is summed up by a number for each pixel along each side: its distance to the nearest
/// pixel outside the set in the columns above or below the tile, in the rows beside it, or beyond its corners. A way
/// into the tile from there never costs more through the side that it comes from. Rings of tiles are read until no
/// pixel further away can be nearer.
///
/// Cost: some 100 ns for each tile within the largest distance that has pixels outside the set, 10 ns for each other
/// one; about 10 us to find the distances of all pixels.
class TileDistances {
public:
    TileDistances(const TiledSet& set, std::int32_t tile);

    /// No distance in the tile exceeds it. Known before Find.
    int Bound() const { return bound_; }

    /// Finds the distances of all the tile's pixels.
    void Find();
    /// The largest distance of some of the tile's pixels in kSide rows, 0 without any; after Find.
    int LargestOf(const Word* rows) const;

private:
    static constexpr int kSide = TiledSet::kSide;
    static constexpr std::size_t kLast = kSide - 1;
    using Side = std::array<int, kSide>;
    /// A tile `u` columns east and `v` rows south of this one.
    struct OtherTile {
        int u;
        int v;
        const Word* rows;
        int rowsInside;
        Word columnsInside;

        Word Unset(int row) const { return ~rows[row] & columnsInside; }
        /// How far it is from this tile to a row or a column of the other one.
        int DownFrom(int row) const { return v < 0 ? (-v - 1) * kSide + kSide - row : (v - 1) * kSide + row + 1; }
        int AcrossTo(Word unset) const {
            return u < 0 ? (-u - 1) * kSide + kSide - HighestBit(unset) : (u - 1) * kSide + LowestBit(unset) + 1;
        }
    };

    void IncludeRing(int ring);
    void Include(int u, int v);
    void IncludeInColumns(const OtherTile& other);
    void IncludeInRows(const OtherTile& other);
    void IncludeBeyondCorner(const OtherTile& other);
    void FindBound();

    const TiledSet& set_;
    std::int32_t tile_;
    int column_;
    int row_;
    int rowsInside_;
    int columnsInside_;
    int far_;
    int bound_;
    Side north_, south_, west_, east_;
    std::array<Side, kSide> distances_;
};

}  // namespace level_sweep

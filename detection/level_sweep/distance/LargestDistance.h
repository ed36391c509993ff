#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "bits/BitGrid.h"
#include "distance/TileErosion.h"
#include "bits/ZeroedArray.h"

namespace level_sweep {

/// The largest of the city-block distances of a set's pixels to the nearest pixel of the picture outside the set, while
/// the set changes; beyond the picture there is nothing to be near to.
///
/// No distance is kept. For each tile of 64 x 64 pixels there is a bound that none of its distances exceeds; what
/// changes the set only takes bounds back, where a distance that long can reach. The largest is looked for from the
/// largest bound down: a tile is eroded, 64 words of 64 pixels at once, until nothing of it is left, and only if it may
/// exceed what was found so far.
///
/// Memory: 1/8 byte per pixel, and 32 bytes per tile.
class LargestDistance {
public:
    using Word = BitGrid::Word;
    static constexpr int kSide = TileErosion::kSide;

    LargestDistance(int width, int height);

    /// Changes of the set, by words of a BitGrid.
    void Add(std::int32_t word, Word pixels) { Change(word, pixels & ~At(word)); }
    void Remove(std::int32_t word, Word pixels) { Change(word, pixels & At(word)); }

    /// Tiles go row by row.
    std::int32_t TileAt(int x, int y) const { return (y / kSide) * tilesPerRow_ + x / kSide; }

    /// Some of the set's pixels in a tile: kSide rows.
    struct Part {
        std::int32_t tile;
        const Word* rows;
    };
    /// The largest distance of the pixels given, at most one part of a tile, 0 without any. There has to be a pixel
    /// outside the set, and no pixel of the set may share a side with one that is given without being given itself.
    /// Cost: a look at the bound of each part, and 64 words for each erosion of a tile that has changed or may have the
    /// largest; where distances exceed 63, a pass over the box of what is given.
    int Largest(const std::vector<Part>& parts);

private:
    using Column = TileErosion::Column;
    using Window = TileErosion::Window;
    static constexpr int kUnbounded = INT32_MAX;

    struct Tile {
        Word changedRows;  // since bounds were last taken back: the rows and columns of all changes
        Word changedColumns;
        int aloneBound;  // as if all pixels around were of the set; takes part in `bound`
        int bound;
        bool isReached;  // the set has a pixel in the tile whose distance is the bound
        bool isStale;    // changed since aloneBound was found
    };
    struct Box {
        int x0, y0, width, height;
    };

    Word& At(std::int32_t word) {
        const std::int32_t y = word / tilesPerRow_;
        return RowsOf((y / kSide) * tilesPerRow_ + word - y * tilesPerRow_)[y % kSide];
    }
    Word* RowsOf(std::int32_t tile) { return &rows_[static_cast<std::size_t>(tile) * kSide]; }
    Tile& TileOf(std::int32_t tile) { return tiles_[static_cast<std::size_t>(tile)]; }
    void Change(std::int32_t word, Word pixels);
    void TakeBoundsBack();
    void TakeBoundsBackAround(std::int32_t tile);
    int AloneBound(std::int32_t tile);
    int LargestIn(const Part& part);
    bool IsWhole(const Part& part);
    /// Whether the part is all of its tile and the bound its largest.
    bool IsKnown(const Part& part);
    int LargestOfDeep(const std::vector<Part>& parts);
    Box BoxAround(const std::vector<Part>& parts) const;
    void MeasureDistances(const Box& box);
    bool IsSet(int x, int y) { return (At(y * tilesPerRow_ + x / kSide) & BitGrid::Bit(x)) != 0; }
    void FillWindow(std::int32_t tile, int margin, Window& window);
    void FillColumn(int column, int first, int rows, Column& window);
    Word InsideColumns(int column) const;
    int RowsInside(std::int32_t tile) const;

    int width_;
    int height_;
    int tilesPerRow_;
    int tileRows_;
    Word beyondLast_;  // bits of the last column of tiles that are beyond the picture
    ZeroedArray<Word> rows_;
    ZeroedArray<Tile> tiles_;
    int deepest_ = TileErosion::kMostMargin;  // no bound was ever larger, but kUnbounded
    std::vector<std::int32_t> changed_;
    std::vector<std::pair<int, std::size_t>> byBound_;
    std::vector<std::int32_t> distances_;
};

}  // namespace level_sweep

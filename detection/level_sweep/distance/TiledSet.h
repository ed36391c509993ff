#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "bits/BitGrid.h"
#include "bits/ZeroedArray.h"
#include "distance/TileErosion.h"

namespace level_sweep {

/// A set of a map's pixels in tiles of 64 x 64, row by row; the 64 words of a tile are adjacent in memory. No bit
/// outside the map is set.
class TiledSet {
public:
    static constexpr int kSide = TileErosion::kSide;

    TiledSet(int width, int height);

    int Width() const { return width_; }
    int Height() const { return height_; }
    int TilesPerRow() const { return tilesPerRow_; }
    int TileRows() const { return tileRows_; }
    std::int32_t Tiles() const { return tilesPerRow_ * tileRows_; }
    std::int32_t TileAt(int x, int y) const { return (y / kSide) * tilesPerRow_ + x / kSide; }
    /// The position of a tile's first pixel.
    PixelPosition OriginOf(std::int32_t tile) const {
        return {tile % tilesPerRow_ * kSide, tile / tilesPerRow_ * kSide};
    }

    bool Has(int x, int y) const {
        return (rows_[static_cast<std::size_t>(TileAt(x, y)) * kSide + static_cast<std::size_t>(y % kSide)] &
                BitGrid::Bit(x)) != 0;
    }
    Word* RowsOf(std::int32_t tile) { return &rows_[static_cast<std::size_t>(tile) * kSide]; }
    const Word* RowsOf(std::int32_t tile) const { return &rows_[static_cast<std::size_t>(tile) * kSide]; }
    /// The pixels of a tile's columns that are inside the map, and the count of its rows that are.
    Word ColumnsInside(std::int32_t tile) const { return ColumnsInsideOf(tile % tilesPerRow_); }
    int RowsInside(std::int32_t tile) const { return std::min(kSide, height_ - tile / tilesPerRow_ * kSide); }

    /// A tile for erosion with `margin` rows more above and below, and with the tiles west and east of it. Everything
    /// outside the map counts as set.
    void FillWindow(std::int32_t tile, int margin, TileErosion::Window& window) const;
    /// A tile alone.
    void FillTile(std::int32_t tile, TileErosion::Column& rows) const {
        FillColumn(tile % tilesPerRow_, tile / tilesPerRow_ * kSide, RowsInside(tile), rows);
    }

private:
    Word ColumnsInsideOf(int column) const { return column == tilesPerRow_ - 1 ? ~outsideLast_ : ~Word{0}; }
    void FillColumn(int column, int first, int rows, TileErosion::Column& filled) const;

    int width_;
    int height_;
    int tilesPerRow_;
    int tileRows_;
    Word outsideLast_;  // bits of the last column of tiles that are outside the map
    ZeroedArray<Word> rows_;
};

}  // namespace level_sweep

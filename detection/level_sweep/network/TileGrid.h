#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "bits/Word.h"

namespace level_sweep {

/// An image cut into tiles of 64 x 64 pixels, numbered row by row. The last tiles of a row or column may reach beyond
/// the image.
class TileGrid {
public:
    static constexpr int kSide = 64;
    enum Direction { kNorth, kSouth, kWest, kEast, kNorthWest, kNorthEast, kSouthWest, kSouthEast, kDirections };

    TileGrid(int width, int height)
        : tilesPerRow_((width + kSide - 1) / kSide), tileRows_((height + kSide - 1) / kSide) {
        for (std::size_t direction = 0; direction < kDirections; ++direction) {
            offsets_[direction] = kSteps[direction].y * tilesPerRow_ + kSteps[direction].x;
        }
    }

    std::size_t Tiles() const { return static_cast<std::size_t>(tilesPerRow_) * static_cast<std::size_t>(tileRows_); }
    int TilesPerRow() const { return tilesPerRow_; }
    int TileRows() const { return tileRows_; }
    std::int32_t TileAt(int x, int y) const {
        constexpr unsigned side = kSide;
        return static_cast<std::int32_t>(static_cast<unsigned>(y) / side) * tilesPerRow_ +
               static_cast<std::int32_t>(static_cast<unsigned>(x) / side);
    }
    /// The tile with the word of row y from column 64 * column on.
    std::int32_t TileOfWord(int column, int y) const { return (y / kSide) * tilesPerRow_ + column; }
    static std::size_t RowInTile(int y) { return static_cast<std::size_t>(y & (kSide - 1)); }
    /// The tile's first column and row.
    int West(std::int32_t tile) const { return tile % tilesPerRow_ * kSide; }
    int North(std::int32_t tile) const { return tile / tilesPerRow_ * kSide; }

    bool HasNext(std::int32_t tile, std::size_t direction) const {
        const int column = tile % tilesPerRow_ + kSteps[direction].x;
        const int row = tile / tilesPerRow_ + kSteps[direction].y;
        return column >= 0 && row >= 0 && column < tilesPerRow_ && row < tileRows_;
    }
    /// The next tile in a direction, which must exist.
    std::int32_t Next(std::int32_t tile, std::size_t direction) const { return tile + offsets_[direction]; }
    static std::size_t Opposite(std::size_t direction) {
        return direction < kNorthWest ? direction ^ 1u : kNorthWest + kSouthEast - direction;
    }

private:
    struct Step {
        int x, y;
    };
    static constexpr std::array<Step, kDirections> kSteps{
        {{0, -1}, {0, 1}, {-1, 0}, {1, 0}, {-1, -1}, {1, -1}, {-1, 1}, {1, 1}}};

    int tilesPerRow_;
    int tileRows_;
    std::array<std::int32_t, kDirections> offsets_;
};

}  // namespace level_sweep

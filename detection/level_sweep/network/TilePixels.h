#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "bits/BitGrid.h"
#include "bits/Pixels.h"
#include "bits/ZeroedArray.h"
#include "network/TileGrid.h"
#include "network/TileLabelling.h"

namespace level_sweep {

/// The pixels of both kinds in one tile.
struct TileKinds {
    TileRows either;  // of a region or a patch
    TileRows patch;

    BitGrid::Word RegionIn(std::size_t row) const { return either[row] & ~patch[row]; }
};

/// The background of an image, tile by tile: each pixel is of a region, of a patch, or of neither.
///
/// Invariants:
/// 1. A patch pixel is also in `either`. No pixel ever leaves `either`.
/// 2. A tile whose kinds were changed by AddPatch, AddRow or ClearRegion has kChanged until TakeChange; one that gained
///    pixels of either kind has kGrown as well.
/// 3. A tile is listed in changedRegions_, once, exactly as long as it has kRegionChanged; all others have the region
///    pixels that TakeRegionChanges saw last.
class TilePixels {
public:
    using Word = BitGrid::Word;

    explicit TilePixels(const TileGrid& grid)
        : grid_(grid), kinds_(grid.Tiles()), regionTaken_(grid.Tiles()), flags_(grid.Tiles()) {}

    /// Makes patch pixels of pixels of neither kind, in row y from column 64 * column on.
    void AddPatch(int column, int y, Word pixels) {
        const auto tile = static_cast<std::size_t>(grid_.TileOfWord(column, y));
        const std::size_t row = TileGrid::RowInTile(y);
        kinds_[tile].either[row] |= pixels;
        kinds_[tile].patch[row] |= pixels;
        flags_[tile] |= kChanged | kGrown;
    }
    /// Adds pixels of both kinds to a row of a tile.
    void AddRow(std::int32_t tile, int y, Word region, Word patch);
    /// Makes patch pixels of the run's region pixels.
    void ClearRegion(const PixelRun& run);
    /// Replaces a tile's patch pixels by others of its pixels. This is no change for TakeChange: the caller is the
    /// one who keeps the pieces.
    void RelabelPatches(std::int32_t tile, const TileRows& patch) {
        kinds_[static_cast<std::size_t>(tile)].patch = patch;
        NoteRegionChange(tile);
    }

    const TileGrid& Grid() const { return grid_; }
    const TileKinds& Of(std::int32_t tile) const { return kinds_[static_cast<std::size_t>(tile)]; }
    Word PatchesIn(int column, int y) const { return Of(grid_.TileOfWord(column, y)).patch[TileGrid::RowInTile(y)]; }
    Word RegionsIn(int column, int y) const { return Of(grid_.TileOfWord(column, y)).RegionIn(TileGrid::RowInTile(y)); }
    Word EitherIn(int column, int y) const { return Of(grid_.TileOfWord(column, y)).either[TileGrid::RowInTile(y)]; }
    /// Whether one of the nine pixels around (x, y) is of a patch.
    bool IsPatchAround(int x, int y) const;

    /// How a tile's kinds changed since the last call of TakeChange.
    enum class Change { None, Kinds, Growth };
    bool HasChanged(std::int32_t tile) const { return (flags_[static_cast<std::size_t>(tile)] & kChanged) != 0; }
    Change TakeChange(std::int32_t tile);
    /// Calls changed(tile, y, gained, lost) for each row of a tile whose region pixels are not those of the last call,
    /// or of the start.
    template <typename Changed>
    void TakeRegionChanges(Changed changed);

    /// Fetches ahead the rows that ClearRegion needs around a pixel.
    void FetchAround(int x, int y) const;
    /// Fetches ahead the rows that RelabelPatches writes.
    void FetchPatches(std::int32_t tile) const;

    void CheckInvariants() const;

private:
    static constexpr std::uint8_t kChanged = 1;
    static constexpr std::uint8_t kGrown = 2;
    static constexpr std::uint8_t kRegionChanged = 4;

    void NoteRegionChange(std::int32_t tile) {
        std::uint8_t& flags = flags_[static_cast<std::size_t>(tile)];
        if ((flags & kRegionChanged) == 0) {
            flags |= kRegionChanged;
            changedRegions_.push_back(tile);
        }
    }

    TileGrid grid_;
    ZeroedArray<TileKinds> kinds_;
    ZeroedArray<TileRows> regionTaken_;
    ZeroedArray<std::uint8_t> flags_;
    std::vector<std::int32_t> changedRegions_;
};

template <typename Changed>
void TilePixels::TakeRegionChanges(Changed changed) {
    for (const std::int32_t tile : changedRegions_) {
        flags_[static_cast<std::size_t>(tile)] &= static_cast<std::uint8_t>(~kRegionChanged);
        const TileKinds& kinds = Of(tile);
        TileRows& taken = regionTaken_[static_cast<std::size_t>(tile)];
        for (int row = 0; row < TileGrid::kSide; ++row) {
            const Word now = kinds.RegionIn(TileGrid::RowInTile(row));
            const Word before = taken[TileGrid::RowInTile(row)];
            if (now != before) {
                changed(tile, grid_.North(tile) + row, now & ~before, before & ~now);
                taken[TileGrid::RowInTile(row)] = now;
            }
        }
    }
    changedRegions_.clear();
}

}  // namespace level_sweep

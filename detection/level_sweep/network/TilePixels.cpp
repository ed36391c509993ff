#include "network/TilePixels.h"

#include <algorithm>

#include "Assert.h"

namespace level_sweep {

void TilePixels::AddRow(std::int32_t tile, int y, Word region, Word patch) {
    if ((region | patch) == 0) {
        return;
    }
    TileKinds& kinds = kinds_[static_cast<std::size_t>(tile)];
    kinds.either[TileGrid::RowInTile(y)] |= region | patch;
    kinds.patch[TileGrid::RowInTile(y)] |= patch;
    NoteRegionChange(tile);
    flags_[static_cast<std::size_t>(tile)] |= kChanged | kGrown;
}

void TilePixels::ClearRegion(const PixelRun& run) {
    constexpr int last = TileGrid::kSide - 1;
    const std::size_t row = TileGrid::RowInTile(run.y);
    for (int x0 = run.x0; x0 <= run.x1;) {
        const std::int32_t tile = grid_.TileAt(x0, run.y);
        const int x1 = std::min(run.x1, x0 | last);
        TileKinds& kinds = kinds_[static_cast<std::size_t>(tile)];
        const Word cleared = (~Word{0} >> (last - (x1 - x0)) << (x0 & last)) & kinds.RegionIn(row);
        if (cleared != 0) {
            kinds.patch[row] |= cleared;
            NoteRegionChange(tile);
            flags_[static_cast<std::size_t>(tile)] |= kChanged;
        }
        x0 = x1 + 1;
    }
}

bool TilePixels::IsPatchAround(int x, int y) const {
    constexpr int last = TileGrid::kSide - 1;
    const int bit = x & last;
    const int row = y & last;
    if (bit > 0 && bit < last && row > 0 && row < last) {
        const Word* patch = &Of(grid_.TileAt(x, y)).patch[static_cast<std::size_t>(row)];
        return ((patch[-1] | patch[0] | patch[1]) >> (bit - 1) & 7u) != 0;
    }
    for (int v = std::max(y - 1, 0); v <= std::min(y + 1, grid_.TileRows() * TileGrid::kSide - 1); ++v) {
        for (int u = std::max(x - 1, 0); u <= std::min(x + 1, grid_.TilesPerRow() * TileGrid::kSide - 1); ++u) {
            if ((PatchesIn(u / TileGrid::kSide, v) & BitGrid::Bit(u)) != 0) {
                return true;
            }
        }
    }
    return false;
}

TilePixels::Change TilePixels::TakeChange(std::int32_t tile) {
    std::uint8_t& flags = flags_[static_cast<std::size_t>(tile)];
    const Change change = (flags & kGrown) != 0     ? Change::Growth
                          : (flags & kChanged) != 0 ? Change::Kinds
                                                    : Change::None;
    flags &= static_cast<std::uint8_t>(~(kChanged | kGrown));
    return change;
}

void TilePixels::FetchAround(int x, int y) const {
    const TileKinds& kinds = Of(grid_.TileAt(x, y));
    constexpr int rowsOfLine = 64 / sizeof(Word);
    const int row = y & (TileGrid::kSide - 1);
    for (int v = std::max(row - rowsOfLine, 0); v < TileGrid::kSide && v <= row + rowsOfLine; v += rowsOfLine) {
        __builtin_prefetch(&kinds.patch[TileGrid::RowInTile(v)], 1);
        __builtin_prefetch(&kinds.either[TileGrid::RowInTile(v)]);
    }
}

void TilePixels::FetchPatches(std::int32_t tile) const {
    for (std::size_t row = 0; row < TileGrid::kSide; row += 64 / sizeof(Word)) {
        __builtin_prefetch(&Of(tile).patch[row], 1);
    }
}

void TilePixels::CheckInvariants() const {
    for (std::size_t tile = 0; tile < grid_.Tiles(); ++tile) {
        const std::uint8_t flags = flags_[tile];
        KORVANE_ASSERT((flags & kGrown) == 0 || (flags & kChanged) != 0);
        const auto listed = std::count(changedRegions_.begin(), changedRegions_.end(), static_cast<std::int32_t>(tile));
        KORVANE_ASSERT(listed == ((flags & kRegionChanged) != 0 ? 1 : 0));
        for (std::size_t row = 0; row < TileGrid::kSide; ++row) {
            KORVANE_ASSERT((kinds_[tile].patch[row] & ~kinds_[tile].either[row]) == 0);
            KORVANE_ASSERT(listed == 1 || kinds_[tile].RegionIn(row) == regionTaken_[tile][row]);
        }
    }
}

}  // namespace level_sweep

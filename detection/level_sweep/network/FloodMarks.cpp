#include "network/FloodMarks.h"

#include <algorithm>

#include "Assert.h"

namespace level_sweep {

void FloodMarks::Reset(std::int32_t tile, std::size_t maskCount) {
    Tile& at = tiles_[static_cast<std::size_t>(tile)];
    at.reachedFor = present_;
    at.masks = Masks{};
    if (maskCount > 1) {
        more_[static_cast<std::size_t>(tile)].masks.assign(maskCount - 1, Masks{});
    }
}

void FloodMarks::ClearFlooded() {
    for (const FloodedTile& at : floodedTiles_) {
        tiles_[static_cast<std::size_t>(at.tile)].isFlooded = false;
    }
    floodedTiles_.clear();
}

void FloodMarks::SetFloodOf(std::int32_t tile, std::size_t i, Word pieces, std::int32_t flood) {
    std::vector<std::int32_t>& floodOf = more_[static_cast<std::size_t>(tile)].floodOf;
    if (floodOf.size() < (i + 1) * 64) {
        floodOf.resize((i + 1) * 64);
    }
    ForEachBit(pieces, [&](std::size_t bit) { floodOf[i * 64 + bit] = flood; });
}

void FloodMarks::CheckInvariants(const PieceTiles& pieces) const {
    KORVANE_ASSERT(queue_.empty());
    for (std::size_t tile = 0; tile < grid_.Tiles(); ++tile) {
        const auto number = static_cast<std::int32_t>(tile);
        const auto listed = std::count_if(floodedTiles_.begin(), floodedTiles_.end(),
                                          [&](const FloodedTile& at) { return at.tile == number; });
        KORVANE_ASSERT(listed == (tiles_[tile].isFlooded ? 1 : 0));
        KORVANE_ASSERT(!tiles_[tile].isFlooded || tiles_[tile].reachedFor == present_);
        KORVANE_ASSERT(!tiles_[tile].isQueued);
        if (tiles_[tile].isFlooded) {
            CheckTile(number, pieces);
        }
    }
}

void FloodMarks::CheckTile(std::int32_t tile, const PieceTiles& pieces) const {
    const std::size_t maskCount = pieces.MaskCount(tile);
    const More& more = more_[static_cast<std::size_t>(tile)];
    KORVANE_ASSERT(maskCount == 1 || more.masks.size() == maskCount - 1);
    Word flooded = 0;
    for (std::size_t i = 0; i < maskCount; ++i) {
        const Masks& masks = Of(tile, i);
        const Word patches = pieces.PatchesOf(tile, i);
        flooded |= masks.flooded;
        KORVANE_ASSERT(masks.waiting == 0);
        KORVANE_ASSERT((masks.flooded & patches & ~masks.encountered) == 0);
        KORVANE_ASSERT((masks.byFirst & ~(masks.encountered & patches)) == 0);
        const Word byOthers = masks.encountered & patches & ~masks.byFirst;
        KORVANE_ASSERT(byOthers == 0 || more.floodOf.size() >= (i + 1) * 64);
        ForEachBit(byOthers, [&](std::size_t bit) { KORVANE_ASSERT(more.floodOf[i * 64 + bit] > 0); });
    }
    KORVANE_ASSERT(flooded != 0);
}

}  // namespace level_sweep

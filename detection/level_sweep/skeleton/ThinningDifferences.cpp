#include "skeleton/ThinningDifferences.h"

namespace level_sweep {

void ThinningDifferences::Clear() {
    for (const Difference& difference : differences_) {
        State& state = StateOf(difference.block);
        state.difference = 0;
        state.differingSides = 0;
    }
    differences_.clear();
}

bool ThinningDifferences::AnyAround(std::int32_t block) const {
    const std::int32_t north = block - grid_.Stride();
    const std::int32_t south = block + grid_.Stride();
    const auto at = [&](std::int32_t near, unsigned side) { return StateOf(near).differingSides & side; };
    return (at(north - 1, kSouthEast) | at(north, kSouth) | at(north + 1, kSouthWest) | at(block - 1, kEast) |
            at(block + 1, kWest) | at(south - 1, kNorthEast) | at(south, kNorth) | at(south + 1, kNorthWest)) != 0;
}

// Only differences in the block and up to two pixels away matter to it.
void ThinningDifferences::FindNear(Difference& difference, int step) const {
    BlockSurroundings different;
    different.Gather([&](std::ptrdiff_t rows, std::ptrdiff_t columns) {
        const State& state = StateOf(difference.block + static_cast<std::int32_t>(rows * grid_.Stride() + columns));
        return state.difference == 0 ? PixelBlock{} : Of(state).pixels;
    });
    difference.near.Find(different);
    difference.nearSince = step;
}

}  // namespace level_sweep

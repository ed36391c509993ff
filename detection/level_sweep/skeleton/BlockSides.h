#pragma once

#include "skeleton/PixelBlock.h"

namespace level_sweep {

/// Sides and corners of a strip, as far as a step of thinning reaches across them: two rows, two columns.
enum BlockSide : unsigned {
    kNorth = 1u,
    kSouth = 2u,
    kWest = 4u,
    kEast = 8u,
    kNorthWest = 16u,
    kNorthEast = 32u,
    kSouthWest = 64u,
    kSouthEast = 128u
};

constexpr PixelBlock::Word kFirstColumns = 3;
constexpr PixelBlock::Word kLastColumns = PixelBlock::Word{3} << 62;
static_assert(BlockSurroundings::kReach == 2, "as many rows, as many columns");

/// The two rows together; of anything that has the rows of a strip.
template <typename Rows>
PixelBlock::Word TopRows(const Rows& strip) {
    return strip[0] | strip[1];
}
template <typename Rows>
PixelBlock::Word BottomRows(const Rows& strip) {
    return strip[kBlockRows - 2] | strip[kBlockRows - 1];
}

/// The side if it has any pixels.
inline unsigned SideIf(PixelBlock::Word pixels, BlockSide side) { return pixels != 0 ? static_cast<unsigned>(side) : 0u; }

/// Sides and corners at which a strip has pixels.
inline unsigned SidesOf(const PixelBlock& strip) {
    const PixelBlock::Word any = AnyOf(strip);
    const PixelBlock::Word top = TopRows(strip);
    const PixelBlock::Word bottom = BottomRows(strip);
    return SideIf(top, kNorth) | SideIf(bottom, kSouth) | SideIf(any & kFirstColumns, kWest) |
           SideIf(any & kLastColumns, kEast) | SideIf(top & kFirstColumns, kNorthWest) |
           SideIf(top & kLastColumns, kNorthEast) | SideIf(bottom & kFirstColumns, kSouthWest) |
           SideIf(bottom & kLastColumns, kSouthEast);
}

}  // namespace level_sweep

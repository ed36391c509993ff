#pragma once

#include "Strip.h"

namespace Korvane {

/// Sides and corners of a strip, as far as a step of thinning reaches across them: two rows, two columns.
enum StripSide : unsigned {
    kNorth = 1u,
    kSouth = 2u,
    kWest = 4u,
    kEast = 8u,
    kNorthWest = 16u,
    kNorthEast = 32u,
    kSouthWest = 64u,
    kSouthEast = 128u
};

constexpr Strip::Word kFirstColumns = 3;
constexpr Strip::Word kLastColumns = Strip::Word{3} << 62;
static_assert(StripNeighbourhood::kReach == 2, "as many rows, as many columns");

/// The two rows together; of anything that has the rows of a strip.
template <typename Rows>
Strip::Word TopRows(const Rows& strip) {
    return strip[0] | strip[1];
}
template <typename Rows>
Strip::Word BottomRows(const Rows& strip) {
    return strip[kStripRows - 2] | strip[kStripRows - 1];
}

/// The side if it has any pixels.
inline unsigned SideIf(Strip::Word pixels, StripSide side) { return pixels != 0 ? static_cast<unsigned>(side) : 0u; }

/// Sides and corners at which a strip has pixels.
inline unsigned SidesOf(const Strip& strip) {
    const Strip::Word any = AnyOf(strip);
    const Strip::Word top = TopRows(strip);
    const Strip::Word bottom = BottomRows(strip);
    return SideIf(top, kNorth) | SideIf(bottom, kSouth) | SideIf(any & kFirstColumns, kWest) |
           SideIf(any & kLastColumns, kEast) | SideIf(top & kFirstColumns, kNorthWest) |
           SideIf(top & kLastColumns, kNorthEast) | SideIf(bottom & kFirstColumns, kSouthWest) |
           SideIf(bottom & kLastColumns, kSouthEast);
}

}  // namespace Korvane

#pragma once

#include "skeleton/PixelBlock.h"

namespace level_sweep {

/// The sides and corners of a block, as deep as an iteration of thinning reads across them: two rows, two columns.
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

/// The union of the two rows at a side, of anything indexed like the rows of a block.
template <typename Rows>
PixelBlock::Word TopRows(const Rows& block) {
    return block[0] | block[1];
}
template <typename Rows>
PixelBlock::Word BottomRows(const Rows& block) {
    return block[kBlockRows - 2] | block[kBlockRows - 1];
}

/// The side if it has any pixels.
inline unsigned SideIf(PixelBlock::Word pixels, BlockSide side) {
    return pixels != 0 ? static_cast<unsigned>(side) : 0u;
}

/// The sides and corners at which a block has pixels.
inline unsigned SidesOf(const PixelBlock& block) {
    const PixelBlock::Word any = AnyOf(block);
    const PixelBlock::Word top = TopRows(block);
    const PixelBlock::Word bottom = BottomRows(block);
    return SideIf(top, kNorth) | SideIf(bottom, kSouth) | SideIf(any & kFirstColumns, kWest) |
           SideIf(any & kLastColumns, kEast) | SideIf(top & kFirstColumns, kNorthWest) |
           SideIf(top & kLastColumns, kNorthEast) | SideIf(bottom & kFirstColumns, kSouthWest) |
           SideIf(bottom & kLastColumns, kSouthEast);
}

/// Calls visit(rows, columns, hasNear) for each adjacent block, that many blocks further south and east, that has
/// pixels up to two away from given pixels of a block. hasNear(block) is then whether that block has such a pixel set;
/// across corners and in columns it counts all pixels of the two rows and columns there.
template <typename Visit>
void ForEachBlockNear(const PixelBlock& pixels, Visit visit) {
    const unsigned sides = SidesOf(pixels);
    const auto dilateTwice = [](PixelBlock::Word row) { return DilateRow(DilateRow(row)); };
    if ((sides & kNorth) != 0) {
        const PixelBlock::Word nearFirst = dilateTwice(pixels.Top());
        const PixelBlock::Word nearBoth = dilateTwice(TopRows(pixels));
        visit(-1, 0, [&](const PixelBlock& north) {
            return ((north[kBlockRows - 2] & nearFirst) | (north[kBlockRows - 1] & nearBoth)) != 0;
        });
    }
    if ((sides & kSouth) != 0) {
        const PixelBlock::Word nearLast = dilateTwice(pixels.Bottom());
        const PixelBlock::Word nearBoth = dilateTwice(BottomRows(pixels));
        visit(1, 0, [&](const PixelBlock& south) { return ((south[0] & nearBoth) | (south[1] & nearLast)) != 0; });
    }
    if ((sides & kWest) != 0) {
        visit(0, -1, [](const PixelBlock& west) { return (AnyOf(west) & kLastColumns) != 0; });
    }
    if ((sides & kEast) != 0) {
        visit(0, 1, [](const PixelBlock& east) { return (AnyOf(east) & kFirstColumns) != 0; });
    }
    if ((sides & kNorthWest) != 0) {
        visit(-1, -1, [](const PixelBlock& corner) { return (BottomRows(corner) & kLastColumns) != 0; });
    }
    if ((sides & kNorthEast) != 0) {
        visit(-1, 1, [](const PixelBlock& corner) { return (BottomRows(corner) & kFirstColumns) != 0; });
    }
    if ((sides & kSouthWest) != 0) {
        visit(1, -1, [](const PixelBlock& corner) { return (TopRows(corner) & kLastColumns) != 0; });
    }
    if ((sides & kSouthEast) != 0) {
        visit(1, 1, [](const PixelBlock& corner) { return (TopRows(corner) & kFirstColumns) != 0; });
    }
}

}  // namespace level_sweep

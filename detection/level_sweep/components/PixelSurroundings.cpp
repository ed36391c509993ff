#include "components/PixelSurroundings.h"

#include <cstddef>

namespace level_sweep {
namespace {

// Nodes of pixels in the centre's own row are near in memory.
constexpr unsigned Nearer(unsigned a, unsigned b) { return b == 2 || b == 6 ? b : a; }

constexpr PixelSurroundings MakeSurroundings(unsigned closed) {
    PixelSurroundings result;
    result.anyClosed = closed != 0u ? 1 : 0;
    unsigned start = 0;
    while (start < 7 && (closed >> start & 1u) == 0u) {
        ++start;
    }
    unsigned closedOne = start;
    bool startsGroup = true;
    for (unsigned k = 1; k <= 8; ++k) {
        const unsigned i = (start + k) % 8;
        if ((closed >> i & 1u) != 0u) {
            closedOne = startsGroup ? Nearer(closedOne, i) : i;
            startsGroup = true;
        } else if (i % 2 == 0 && startsGroup) {
            result.open[result.count] = static_cast<std::uint8_t>(i);
            result.gap[result.count] = static_cast<std::uint8_t>(closedOne);
            ++result.count;
            startsGroup = false;
        }
    }
    // The last gap is the first as well; without a group all sides are closed.
    result.gap[0] = static_cast<std::uint8_t>(result.count == 0 ? closedOne : Nearer(result.gap[0], closedOne));
    for (unsigned g = 0; g == 0 || g < result.count; ++g) {
        const unsigned gap = result.gap[g];
        result.needsRowAbove |= result.anyClosed != 0 && (gap == 7 || gap <= 1) ? 1 : 0;
        result.needsRowBelow |= result.anyClosed != 0 && gap >= 3 && gap <= 5 ? 1 : 0;
    }
    return result;
}

constexpr std::array<PixelSurroundings, 512> MakeSurroundingsTable() {
    constexpr std::array<unsigned, 8> bitOf{1, 2, 5, 8, 7, 6, 3, 0};  // clockwise from north
    std::array<PixelSurroundings, 512> table{};
    for (unsigned open = 0; open < 512; ++open) {
        unsigned closed = 0;
        for (unsigned i = 0; i < 8; ++i) {
            closed |= (~open >> bitOf[i] & 1u) << i;
        }
        table[open] = MakeSurroundings(closed);
    }
    return table;
}

}  // namespace

constexpr std::array<PixelSurroundings, 512> kSurroundings = MakeSurroundingsTable();

std::array<int, 4> SidesOfGroups(const std::array<std::int32_t, 4>& gapRoots, int count) {
    std::array<int, 4> sideOf{0, 1, 2, 3};
    for (int j = 1; j < count; ++j) {
        for (int i = 0; i < j && sideOf[static_cast<std::size_t>(j)] == j; ++i) {
            bool separated = false;
            for (int g = 0; g < count; ++g) {
                for (int h = g + 1; h < count; ++h) {
                    // On the way around the centre groups g .. h-1 lie between the two gaps.
                    const bool iWithin = i >= g && i < h;
                    const bool jWithin = j >= g && j < h;
                    separated =
                        separated || (iWithin != jWithin && gapRoots[static_cast<std::size_t>(g)] ==
                                                                gapRoots[static_cast<std::size_t>(h)]);
                }
            }
            if (!separated) {
                sideOf[static_cast<std::size_t>(j)] = i;
            }
        }
    }
    return sideOf;
}

}  // namespace level_sweep

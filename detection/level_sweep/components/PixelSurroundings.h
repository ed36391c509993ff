#pragma once

#include <array>
#include <cstdint>

#include "bits/Word.h"

namespace level_sweep {

// The ring around a pixel, clockwise from north; even indices share a side with the centre.
constexpr std::array<int, 8> kRingX{0, 1, 1, 1, 0, -1, -1, -1};
constexpr std::array<int, 8> kRingY{-1, -1, 0, 1, 1, 1, 0, -1};

/// The ring around a pixel as `count` groups of open pixels that share a side with the centre, each after a gap of
/// closed pixels; one ring index stands for a group or a gap. An open corner between two closed sides makes no group:
/// it shares no side with the centre, and the two sides touch diagonally.
struct PixelSurroundings {
    std::uint8_t count = 0;
    std::uint8_t anyClosed = 0;
    std::uint8_t needsRowAbove = 0;  ///< the pixel of a gap is in the row above
    std::uint8_t needsRowBelow = 0;
    std::array<std::uint8_t, 4> open{};
    std::array<std::uint8_t, 4> gap{};
};

/// By the open pixels of the 3 x 3 neighbourhood (BitPlane::Neighbourhood).
extern const std::array<PixelSurroundings, 512> kSurroundings;

/// The sides on which the groups around a pixel are once it is closed: for each group the index of the first group on
/// its side. Two gaps whose closed pixels are connected separate the groups between them from the others.
/// @param gapRoots  of each gap, the root of its closed pixels
std::array<int, 4> SidesOfGroups(const std::array<std::int32_t, 4>& gapRoots, int count);

}  // namespace level_sweep

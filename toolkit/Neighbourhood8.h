#pragma once

#include <array>

namespace qvox {

/// The two-dimensional 8-neighbourhood: the eight offsets (±1, 0), (0, ±1), (±1, ±1) within a plane,
/// in raster order (row above from left to right, left, right, row below from left to right).
struct Neighbourhood8 {
    struct Offset {
        int dx;
        int dy;
    };
    static constexpr std::array<Offset, 8> kOffsets{
        {{-1, -1}, {0, -1}, {1, -1}, {-1, 0}, {1, 0}, {-1, 1}, {0, 1}, {1, 1}}};
};

}  // namespace qvox

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "Neighbourhood8.h"
#include "operations/WatershedLevels.h"

namespace qvox {

/// Of the eight neighbours of a voxel some, a bit each in the order of Neighbourhood8.
using NeighbourSet = std::uint8_t;

/// Of each group of neighbours that are connected among themselves, by sides or corners, the first in the order of
/// Neighbourhood8.
class NeighbourGroups {
public:
    NeighbourGroups();
    NeighbourSet FirstOfEach(NeighbourSet neighbours) const { return firsts_[neighbours]; }

private:
    std::array<NeighbourSet, 256> firsts_{};
};

/// For each voxel of a row: which neighbours are lower, or of the same level and earlier in raster order. `row` is a
/// row of `width` levels in an image whose rows are `stride` apart; the levels before and behind it, and those of the
/// rows above and below, are read up to four beyond the width. `neighbours` has room for the width rounded up to a
/// multiple of 16.
void FindLowerNeighbours(const Cell* row, std::size_t width, std::size_t stride, NeighbourSet* neighbours);

}  // namespace qvox

#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "operations/WatershedLevels.h"

namespace qvox {

/// Where a flood gets from one basin of a relief into another: the higher of two adjacent voxels. A source of a flood
/// is a pass from a basin to itself.
struct BasinPass {
    Cell level = 0;
    std::uint32_t voxel = 0;
    std::uint32_t a = 0;
    std::uint32_t b = 0;
};

/// Orders passes by level; equal levels stay in their order.
void SortByLevel(std::vector<BasinPass>& passes);

/// Sets of basins that are joined.
class BasinSets {
public:
    explicit BasinSets(std::size_t basins);
    std::uint32_t Root(std::uint32_t basin);
    /// Joins the sets of two roots and returns the root of both.
    std::uint32_t Join(std::uint32_t a, std::uint32_t b);

private:
    std::vector<std::uint32_t> parents_;
    std::vector<std::uint8_t> ranks_;
};

/// Orders the passes by level and leaves out those between basins that earlier ones join: so no two basins are joined
/// at another level than with all of them.
void KeepJoiningPasses(std::vector<BasinPass>& passes, std::size_t basins);

}  // namespace qvox

#pragma once

#include <cstdint>
#include <vector>

#include "operations/BasinPasses.h"
#include "operations/WatershedLevels.h"

namespace qvox {

/// At which levels basins are flooded, and from where.
struct BasinFlood {
    static constexpr std::uint32_t kDry = ~std::uint32_t{0};

    /// Basins that a flood enters together: the passes between them are no higher than the one that it comes over.
    struct Lake {
        Cell level = 0;
        std::uint32_t entry = 0;  ///< the voxel over which the flood enters, or its source
    };
    /// In the order in which they are entered, so of ascending level.
    std::vector<Lake> lakes;
    /// The lake of each basin, kDry where no flood comes.
    std::vector<std::uint32_t> lakeOfBasin;
};

/// The flood that begins at `sources` and always takes the lowest pass that leads on. Of passes of one level it takes
/// those between dry basins first where they stand before the others.
/// `passes`: those of ReliefBasins and, behind them, the sources.
BasinFlood FloodBasins(std::vector<BasinPass> passes, std::size_t basins);

}  // namespace qvox

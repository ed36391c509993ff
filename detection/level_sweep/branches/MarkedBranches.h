#pragma once

#include <vector>

#include "bits/Pixels.h"

namespace level_sweep {

/// The open branches of a skeleton that are longer than the limit.
struct MarkedBranches {
    std::vector<PixelPosition> ends;
    bool mapOrigin = false;  ///< the map's first pixel is marked too: for pixels counted for no end
};

}  // namespace level_sweep

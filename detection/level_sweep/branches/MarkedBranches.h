#pragma once

#include <vector>

#include "bits/Pixels.h"

namespace level_sweep {

/// The marks of the open branches of a skeleton that are longer than the limit.
struct MarkedBranches {
    std::vector<PixelPosition> ends;
    bool mapOrigin = false;  ///< row 0, column 0 is marked: by a count that has no end
};

}  // namespace level_sweep

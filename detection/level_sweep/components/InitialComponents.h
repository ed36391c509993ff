#pragma once

#include <cstdint>
#include <vector>

#include "bits/BitPlane.h"
#include "components/PixelNodes.h"

namespace level_sweep {

/// The 4-connected components of open pixels, numbered from 0 on in raster order of their first pixels.
struct InitialComponents {
    std::vector<std::int32_t> area;         ///< by number
    std::vector<std::int32_t> firstPixels;  ///< offsets, by number
};

/// Gives every open node its component's number, and links closed nodes to trees: 8-connected pixels, and outside the
/// map. Runs of pixels are found word by word and linked run by run.
InitialComponents NumberComponents(const BitPlane& open, PixelNodes& nodes);

}  // namespace level_sweep

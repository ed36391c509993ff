#pragma once

#include <cstdint>
#include <random>

#include "VoxelImage.h"

namespace korvane_test {

/// A voxel in `oneIn` has a label, any but 0.
inline qvox::LabelImage RandomMarkers(std::mt19937& random, std::uint64_t width, std::uint64_t height,
                                      unsigned oneIn) {
    qvox::LabelImage markers;
    markers.Resize(width, height, 1);
    for (std::uint16_t& v : markers) {
        v = random() % oneIn == 0 ? static_cast<std::uint16_t>(1 + random() % 65535) : std::uint16_t{0};
    }
    return markers;
}

}  // namespace korvane_test

#pragma once

#include <cstddef>
#include <cstdint>

#include "BenchImages.h"

namespace korvane_bench {

inline std::size_t VesicleCount(std::size_t size) { return size * size * 350 / (2048 * 2048); }

inline qvox::LabelImage WithBorderMarker(qvox::LabelImage markers) {
    for (std::uint64_t i = 0; i < markers.VoxelCount(); ++i) {
        if (markers.OnBorder(i)) markers[i] = 20000;
    }
    return markers;
}

}  // namespace korvane_bench

#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "VoxelImage.h"

namespace korvane_reference {

/// One increment per voxel.
inline std::vector<std::uint64_t> PlainIntensityHistogram(const qvox::VoxelImage<std::uint16_t>& image) {
    std::vector<std::uint64_t> histogram(65536, 0);
    for (const std::uint16_t value : image) ++histogram[value];
    return histogram;
}

}  // namespace korvane_reference

#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "VoxelImage.h"

namespace korvane_reference {

/// Every voxel compared with both ends of the range.
inline qvox::VoxelImage<bool> PlainThreshold(const qvox::VoxelImage<std::uint16_t>& input, std::uint16_t low,
                                             std::uint16_t high) {
    qvox::VoxelImage<bool> output;
    output.Resize(input.SizeX(), input.SizeY(), input.SizeZ());
    for (std::uint64_t i = 0; i < input.VoxelCount(); ++i) {
        if (input[i] < low || input[i] > high) {
            output[i] = false;
        } else {
            output[i] = true;
        }
    }
    return output;
}

}  // namespace korvane_reference

#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "VoxelImage.h"

namespace korvane_reference {

/// Reconstruction by erosion, repeated until nothing changes: from 65535 everywhere but on the border, each voxel falls
/// to the smallest of itself and its four neighbours, but not below the input.
inline qvox::VoxelImage<std::uint16_t> PlainHoleFilling(const qvox::VoxelImage<std::uint16_t>& input) {
    qvox::VoxelImage<std::uint16_t> output(input);
    for (std::uint64_t i = 0; i < output.VoxelCount(); ++i) {
        if (!input.OnBorder(i)) output[i] = 65535;
    }
    bool changed = true;
    while (changed) {
        changed = false;
        for (std::uint64_t i = 0; i < output.VoxelCount(); ++i) {
            if (input.OnBorder(i)) continue;
            std::uint16_t lowest = output[i];
            for (const std::uint64_t next : {i - input.SizeX(), i - 1, i + 1, i + input.SizeX()}) {
                if (output[next] < lowest) lowest = output[next];
            }
            if (lowest < input[i]) lowest = input[i];
            if (lowest != output[i]) {
                output[i] = lowest;
                changed = true;
            }
        }
    }
    return output;
}

}  // namespace korvane_reference

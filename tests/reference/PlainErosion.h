#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "VoxelImage.h"

namespace korvane_reference {

/// A voxel stays when every voxel of the disc around it that lies in the plane is true.
inline qvox::VoxelImage<bool> PlainErosion(const qvox::VoxelImage<bool>& input, std::int64_t radius) {
    const auto width = static_cast<std::int64_t>(input.SizeX());
    const auto height = static_cast<std::int64_t>(input.SizeY());
    qvox::VoxelImage<bool> output(input);
    for (std::uint64_t i = 0; i < input.VoxelCount(); ++i) {
        const auto at = input.Coordinates(i);
        const auto cx = static_cast<std::int64_t>(at[0]);
        const auto cy = static_cast<std::int64_t>(at[1]);
        for (std::int64_t y = 0; y < height; ++y) {
            for (std::int64_t x = 0; x < width; ++x) {
                const bool inDisc = (x - cx) * (x - cx) + (y - cy) * (y - cy) <= radius * radius;
                const bool set = input(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y), at[2]);
                if (inDisc && !set) output[i] = false;
            }
        }
    }
    return output;
}

}  // namespace korvane_reference

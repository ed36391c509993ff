#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "VoxelImage.h"

namespace korvane_reference {

/// Voxel by voxel: whoever of the eight neighbours has the old value follows. Returns the filled image.
inline qvox::VoxelImage<std::uint16_t> PlainFloodFill(const qvox::VoxelImage<std::uint16_t>& input, std::uint16_t value,
                                                      std::uint64_t x, std::uint64_t y, std::uint64_t z) {
    qvox::VoxelImage<std::uint16_t> image(input);
    const std::uint16_t oldValue = image(x, y, z);
    std::vector<bool> seen(image.VoxelCount(), false);
    std::vector<std::uint64_t> waiting{image.Index(x, y, z)};
    seen[waiting[0]] = true;
    while (!waiting.empty()) {
        const std::uint64_t index = waiting.back();
        waiting.pop_back();
        image[index] = value;
        const auto at = image.Coordinates(index);
        for (int dy = -1; dy <= 1; ++dy) {
            for (int dx = -1; dx <= 1; ++dx) {
                const std::int64_t nx = static_cast<std::int64_t>(at[0]) + dx;
                const std::int64_t ny = static_cast<std::int64_t>(at[1]) + dy;
                if (nx < 0 || ny < 0 || nx >= static_cast<std::int64_t>(image.SizeX()) ||
                    ny >= static_cast<std::int64_t>(image.SizeY())) {
                    continue;
                }
                const std::uint64_t next =
                    image.Index(static_cast<std::uint64_t>(nx), static_cast<std::uint64_t>(ny), z);
                if (seen[next] || input[next] != oldValue) continue;
                seen[next] = true;
                waiting.push_back(next);
            }
        }
    }
    return image;
}

}  // namespace korvane_reference

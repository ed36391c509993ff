#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "VoxelImage.h"

namespace korvane_reference {

/// Bresenham's error term, step by step, each minor axis with its own; for points whose distances fit well into 64
/// bits. Returns the image with the line.
inline qvox::VoxelImage<std::uint16_t> PlainLine(const qvox::VoxelImage<std::uint16_t>& input,
                                                 const std::array<std::int64_t, 3>& start,
                                                 const std::array<std::int64_t, 3>& end, std::uint16_t value) {
    qvox::VoxelImage<std::uint16_t> image(input);
    const std::array<std::uint64_t, 3> sizes{image.SizeX(), image.SizeY(), image.SizeZ()};
    std::array<std::int64_t, 3> length{};
    std::array<std::int64_t, 3> error{};
    std::int64_t steps = 0;
    for (std::size_t a = 0; a < 3; ++a) {
        length[a] = end[a] < start[a] ? start[a] - end[a] : end[a] - start[a];
        if (length[a] > steps) steps = length[a];
    }
    for (std::size_t a = 0; a < 3; ++a) error[a] = 2 * length[a] - steps;
    std::array<std::int64_t, 3> at = start;
    for (std::int64_t step = 0; step <= steps; ++step) {
        bool inside = true;
        for (std::size_t a = 0; a < 3; ++a) {
            inside = inside && at[a] >= 0 && at[a] < static_cast<std::int64_t>(sizes[a]);
        }
        if (inside) {
            image(static_cast<std::uint64_t>(at[0]), static_cast<std::uint64_t>(at[1]),
                  static_cast<std::uint64_t>(at[2])) = value;
        }
        for (std::size_t a = 0; a < 3; ++a) {
            if (error[a] >= 0) {
                at[a] += end[a] < start[a] ? -1 : 1;
                error[a] -= 2 * steps;
            }
            error[a] += 2 * length[a];
        }
    }
    return image;
}

}  // namespace korvane_reference

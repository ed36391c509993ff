#pragma once

#include <cstdint>

#include "VoxelImage.h"

namespace qvox {

/// True where low <= input <= high, else false. The output takes the input's sizes and resolution.
void ThresholdToMask(const VoxelImage<std::uint16_t>& input, VoxelImage<bool>& output, std::uint16_t low,
                     std::uint16_t high);

}  // namespace qvox

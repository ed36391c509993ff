#pragma once

#include <cstdint>

#include "VoxelImage.h"

namespace qvox {

/// Edge-enhancing anisotropic diffusion in place.
void EdgeEnhancingDiffusion(VoxelImage<std::uint16_t>& image, float preSmoothingSigmaPx, float contrast, float timeStep,
                            std::uint64_t iterations);

}  // namespace qvox

#pragma once

#include <cstdint>

#include "InstructionSet.h"
#include "VoxelImage.h"
#include "operations/Diffusion.h"

namespace qvox {

/// EdgeEnhancingDiffusion with an instruction set of the caller's choice, which must run here; for tests and benchmarks.
void EdgeEnhancingDiffusionWith(InstructionSet set, VoxelImage<std::uint16_t>& image, float preSmoothingSigmaPx,
                                float contrast, float timeStep, std::uint64_t iterations,
                                const PartRunner& run = RunOneByOne);

}  // namespace qvox

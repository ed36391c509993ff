#pragma once

#include <cstdint>

#include "VoxelImage.h"
#include "operations/Diffusion.h"

namespace qvox {

/// The instruction sets that one time step of the diffusion is compiled for. All compute the same IEEE operations in
/// the same order; only how many voxels go through one instruction differs.
enum class DiffusionVariant { Baseline, Avx2, Avx512 };

/// Whether this processor runs the variant.
bool RunsHere(DiffusionVariant variant);

/// EdgeEnhancingDiffusion with a variant of the caller's choice, which must run here; for tests and benchmarks.
void EdgeEnhancingDiffusionWith(DiffusionVariant variant, VoxelImage<std::uint16_t>& image, float preSmoothingSigmaPx,
                                float contrast, float timeStep, std::uint64_t iterations,
                                const PartRunner& run = RunOneByOne);

}  // namespace qvox

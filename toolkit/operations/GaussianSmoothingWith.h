#pragma once

#include "InstructionSet.h"
#include "operations/GaussianSmoothing.h"

namespace qvox {

/// SmoothWithGaussian with an instruction set of the caller's choice, which must run here; for tests and benchmarks.
void SmoothWithGaussianWith(InstructionSet set, const VoxelImage<float>& input, VoxelImage<float>& output,
                            double sigmaPx, const PartRunner& run = RunOneByOne);

}  // namespace qvox

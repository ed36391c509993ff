#include "operations/Threshold.h"

#include "operations/OperationChecks.h"

namespace qvox {

void ThresholdToMask(const VoxelImage<std::uint16_t>& input, VoxelImage<bool>& output, std::uint16_t low,
                     std::uint16_t high) {
    RequireVoxels("ThresholdToMask", input);
    ShapeOutputLike(input, output);
    const std::uint16_t* from = input.begin();
    bool* to = output.begin();
    const std::uint64_t count = input.VoxelCount();
    // Both comparisons are always made: without a branch the loop is vectorised.
    for (std::uint64_t i = 0; i < count; ++i) to[i] = (from[i] >= low) & (from[i] <= high);
}

}  // namespace qvox

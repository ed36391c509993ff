#include "operations/Threshold.h"

#include "operations/OperationChecks.h"

namespace qvox {

void ThresholdToMask(const VoxelImage<std::uint16_t>& input, VoxelImage<bool>& output, std::uint16_t low,
                     std::uint16_t high, const PartRunner& run) {
    RequireVoxels("ThresholdToMask", input);
    ShapeOutputLike(input, output);
    const std::uint16_t* from = input.begin();
    bool* to = output.begin();
    constexpr std::uint64_t kFewestVoxels = 1 << 14;
    RunRanges(input.VoxelCount(), kFewestVoxels, run, [&](const PartRange& voxels) {
        // Both comparisons are always made: without a branch the loop is vectorised.
        for (std::uint64_t i = voxels.first; i < voxels.end; ++i) to[i] = (from[i] >= low) & (from[i] <= high);
    });
}

}  // namespace qvox

#include "operations/IntensityHistogram.h"

#include <cstring>

#include "operations/OperationChecks.h"

namespace qvox {

namespace {

constexpr std::size_t kBins = 65536;
constexpr std::uint64_t kEach16Bits = 0x0001000100010001u;

/// Counts blocks of 16 voxels of one value at once: a run would otherwise wait, voxel after voxel, for the bin that
/// it has just stored.
void CountVoxels(const std::uint16_t* voxel, std::uint64_t count, std::uint64_t* bins) {
    constexpr std::uint64_t kBlock = 16;
    std::uint64_t i = 0;
    for (; i + kBlock <= count; i += kBlock) {
        std::uint64_t quads[4];
        std::memcpy(quads, voxel + i, sizeof(quads));
        const std::uint64_t constant = voxel[i] * kEach16Bits;
        if ((((quads[0] ^ constant) | (quads[1] ^ constant)) | ((quads[2] ^ constant) | (quads[3] ^ constant))) == 0) {
            bins[voxel[i]] += kBlock;
            continue;
        }
        for (const std::uint64_t quad : quads) {
            ++bins[quad & 0xFFFFu];
            ++bins[quad >> 16 & 0xFFFFu];
            ++bins[quad >> 32 & 0xFFFFu];
            ++bins[quad >> 48];
        }
    }
    for (; i < count; ++i) ++bins[voxel[i]];
}

}  // namespace

void IntensityHistogram(const VoxelImage<std::uint16_t>& image, Histogram& histogram) {
    RequireVoxels("IntensityHistogram", image);
    histogram.assign(kBins, 0);
    CountVoxels(image.begin(), image.VoxelCount(), histogram.data());
}

}  // namespace qvox

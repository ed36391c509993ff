#include "operations/Watershed.h"

#include <string>
#include <utility>

#include "operations/BasinLabels.h"
#include "operations/QueueFlood.h"

namespace qvox {

namespace {

std::string Sizes(std::uint64_t x, std::uint64_t y, std::uint64_t z) {
    return std::to_string(x) + " x " + std::to_string(y) + " x " + std::to_string(z);
}

void CheckImages(const VoxelImage<float>& relief, const LabelImage& markers) {
    const std::string markerSizes = Sizes(markers.SizeX(), markers.SizeY(), markers.SizeZ());
    if (!relief.SameSizes(markers)) {
        throw ToolkitError("WatershedFromMarkers: the relief is " +
                           Sizes(relief.SizeX(), relief.SizeY(), relief.SizeZ()) + " voxels and the marker image " +
                           markerSizes + "; they must have the same sizes.");
    }
    if (relief.Empty()) throw ToolkitError("WatershedFromMarkers: the images are empty.");
    if (relief.SizeZ() != 1) {
        throw ToolkitError("WatershedFromMarkers: the images have " + std::to_string(relief.SizeZ()) +
                           " planes, but only one plane can be flooded.");
    }
    constexpr std::uint64_t kMaxVoxels = (std::uint64_t{1} << 32) - 1;
    if (relief.SizeX() + 2 > kMaxVoxels / (relief.SizeY() + 2) || relief.SizeX() > 0x7FFFFFF0u) {
        throw ToolkitError("WatershedFromMarkers: the images of " + markerSizes +
                           " voxels are too large; the limit is 2^32 voxels with a margin of one.");
    }
}

}  // namespace

void WatershedFromMarkers(const VoxelImage<float>& relief, const VoxelImage<std::uint16_t>& markers,
                          VoxelImage<std::uint16_t>& output, Neighbourhood8, const PartRunner& run) {
    CheckImages(relief, markers);
    LabelImage separate;
    LabelImage& result = &output == &markers ? separate : output;
    result.CopyPropertiesFrom(markers);
    result.Resize(markers.SizeX(), markers.SizeY(), 1);
    const bool isDone = ReliefBasins::HasRoom(relief.SizeX(), relief.SizeY()) && [&] {
        ReliefBasins basins(relief, run);
        return LabelByBasins(basins, markers, result, run);
    }();
    if (!isDone) LabelByQueue(relief, markers, result, run);
    if (&result != &output) output = std::move(separate);
}

}  // namespace qvox

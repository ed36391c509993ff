#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <variant>

#include "VoxelImage.h"
#include "files/OpenImageFile.h"
#include "operations/PartRunner.h"

namespace Korvane {

/// An input image in the voxels of its file: a quarter or half of the memory of intensities for 8 and 16 bits.
class StoredImage {
public:
    using Voxels =
        std::variant<qvox::VoxelImage<std::uint8_t>, qvox::VoxelImage<std::uint16_t>, qvox::VoxelImage<float>>;

    explicit StoredImage(Voxels voxels) : voxels_(std::move(voxels)) {}

    /// Visits the image, whose voxels are of one of three types.
    template <typename Visitor>
    auto Visit(Visitor visitor) const {
        return std::visit(visitor, voxels_);
    }

    /// The memory of the voxels.
    std::size_t Bytes() const;

    /// Of sizes, voxel type and voxels. One pass.
    std::uint32_t Checksum() const;

private:
    friend qvox::VoxelImage<float> TakeIntensities(StoredImage stored);
    friend std::shared_ptr<const qvox::VoxelImage<float>> ShareIntensities(
        const std::shared_ptr<const StoredImage>& stored, const qvox::PartRunner& run);

    Voxels voxels_;
};

/// Reads one input file: 8-bit, 16-bit and float grey. Throws UnsupportedPixelType for any other voxel type,
/// ToolkitError for a file that cannot be read, std::bad_alloc.
StoredImage LoadStoredImage(const std::string& path, const qvox::ReadOptions& options = {});
/// The same for a file that is open already, and is closed then.
StoredImage LoadStoredImage(const std::string& path, qvox::OpenImageFile& file);

/// The values as they are, with resolution, offset and description. Those of a float image are moved or shared, others
/// converted.
qvox::VoxelImage<float> TakeIntensities(StoredImage stored);
std::shared_ptr<const qvox::VoxelImage<float>> ShareIntensities(const std::shared_ptr<const StoredImage>& stored,
                                                                const qvox::PartRunner& run = qvox::RunOneByOne);

}  // namespace Korvane

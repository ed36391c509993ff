#include "StoredImage.h"

#include <zlib.h>

#include <algorithm>
#include <array>

#include "ImageLoading.h"

namespace Korvane {

namespace {

template <typename T>
StoredImage Load(qvox::OpenImageFile& file) {
    qvox::VoxelImage<T> image;
    file.Load(image);
    return StoredImage(std::move(image));
}

template <typename T>
qvox::VoxelImage<float> Converted(const qvox::VoxelImage<T>& read, const qvox::PartRunner& run) {
    qvox::VoxelImage<float> image;
    image.CopyPropertiesFrom(read);
    image.Resize(read.SizeX(), read.SizeY(), read.SizeZ());
    qvox::RunRanges(read.VoxelCount(), qvox::kFewestVoxelsOfPart, run, [&](const qvox::PartRange& part) {
        std::transform(read.begin() + part.first, read.begin() + part.end, image.begin() + part.first,
                       [](T value) { return static_cast<float>(value); });
    });
    return image;
}

}  // namespace

std::size_t StoredImage::Bytes() const {
    return Visit([](const auto& image) { return image.VoxelCount() * sizeof(*image.begin()); });
}

std::uint32_t StoredImage::Checksum() const {
    return Visit([this](const auto& image) {
        const std::array<std::uint64_t, 4> head{image.SizeX(), image.SizeY(), image.SizeZ(), voxels_.index()};
        const auto sum = [](uLong begun, const void* bytes, std::size_t count) {
            // The library takes a null pointer for a question about the first value.
            return count == 0 ? begun : crc32_z(begun, static_cast<const Bytef*>(bytes), count);
        };
        const uLong begun = sum(0, head.data(), sizeof(head));
        return static_cast<std::uint32_t>(sum(begun, image.begin(), image.VoxelCount() * sizeof(*image.begin())));
    });
}

StoredImage LoadStoredImage(const std::string& path, const qvox::ReadOptions& options) {
    qvox::OpenImageFile file(path, options);
    return LoadStoredImage(path, file);
}

StoredImage LoadStoredImage(const std::string& path, qvox::OpenImageFile& file) {
    switch (file.Info().type) {
        case qvox::VoxelType::kUint8:
            return Load<std::uint8_t>(file);
        case qvox::VoxelType::kUint16:
            return Load<std::uint16_t>(file);
        case qvox::VoxelType::kFloat32:
            return Load<float>(file);
        default:
            RefuseInputType(path, file.Info());
    }
}

qvox::VoxelImage<float> TakeIntensities(StoredImage stored) {
    if (auto* const floats = std::get_if<qvox::VoxelImage<float>>(&stored.voxels_)) return std::move(*floats);
    return stored.Visit([](const auto& read) { return Converted(read, qvox::RunOneByOne); });
}

std::shared_ptr<const qvox::VoxelImage<float>> ShareIntensities(const std::shared_ptr<const StoredImage>& stored,
                                                                const qvox::PartRunner& run) {
    if (const auto* const floats = std::get_if<qvox::VoxelImage<float>>(&stored->voxels_)) {
        return {stored, floats};
    }
    return stored->Visit(
        [&run](const auto& read) { return std::make_shared<const qvox::VoxelImage<float>>(Converted(read, run)); });
}

}  // namespace Korvane

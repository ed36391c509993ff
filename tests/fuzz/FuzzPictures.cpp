// Whole files: probing, loading, and labels that go into open positions.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

#include "FailureText.h"
#include "PathText.h"
#include "PositionStore.h"
#include "ResultFiles.h"
#include "files/ImageFile.h"
#include "files/StoredDescription.h"
#include "files/StoredNumbers.h"
#include "fuzz/FuzzSupport.h"

namespace korvane_test {

namespace {

/// A larger picture, which few bytes can rightly hold when they are compressed, would only cost time.
constexpr std::uint64_t kMostVoxels = std::uint64_t{1} << 22;
constexpr std::uint64_t kMostLabels = std::uint64_t{1} << 16;

bool HasAtMost(std::uint64_t voxels, const qvox::ImageFileInfo& info) {
    return info.sizeX <= voxels && info.sizeY <= voxels && info.sizeX * info.sizeY <= voxels &&
           info.sizeZ <= voxels / std::max<std::uint64_t>(1, info.sizeX * info.sizeY);
}

/// The picture, read into a buffer in which every byte is `before`.
template <typename T>
qvox::VoxelImage<T> LoadOver(unsigned char before, const std::string& path, const qvox::ImageFileInfo& info) {
    qvox::VoxelImage<T> image;
    image.Resize(info.sizeX, info.sizeY, info.sizeZ);
    auto* const bytes = reinterpret_cast<unsigned char*>(image.begin());
    std::fill(bytes, bytes + image.VoxelCount() * sizeof(T), before);
    const T* const buffer = image.begin();
    qvox::LoadImageFile(path, image);
    Promise(image.begin() == buffer, "a buffer of the right size is reused");
    return image;
}

template <typename T>
void LoadAs(const std::string& path, const qvox::ImageFileInfo& info) {
    const qvox::VoxelImage<T> image = LoadOver<T>(0x5A, path, info);
    Promise(image.SizeX() == info.sizeX && image.SizeY() == info.sizeY && image.SizeZ() == info.sizeZ,
            "the picture has the sizes that were probed");
    Promise(!image.Empty(), "a picture that is read has voxels");
    Promise(image.Resolution() == info.resolution, "the picture has the resolution that was probed");
    const qvox::VoxelImage<T> other = LoadOver<T>(0xA5, path, info);
    Promise(std::memcmp(image.begin(), other.begin(), image.VoxelCount() * sizeof(T)) == 0,
            "every voxel is read, whatever was there before");
    Promise(qvox::IsStorable(image.Metadata()), "the description of a picture that is read can be saved");
}

void LoadProbed(const std::string& path, const qvox::ImageFileInfo& info) {
    switch (info.type) {
        case qvox::VoxelType::kUint8:
            return LoadAs<std::uint8_t>(path, info);
        case qvox::VoxelType::kUint16:
            return LoadAs<std::uint16_t>(path, info);
        case qvox::VoxelType::kFloat32:
            return LoadAs<float>(path, info);
        case qvox::VoxelType::kRgb8:
            return LoadAs<qvox::Rgb8>(path, info);
        default:
            // Whoever asks for a kind that the file does not hold is told so.
            try {
                qvox::VoxelImage<float> image;
                qvox::LoadImageFile(path, image);
            } catch (const qvox::ToolkitError&) {
                return;
            }
            Promise(false, "a picture of another kind is not read as floats");
    }
}

/// Each of the first pages alone, colours as grey, and the numbers of the first page as they are stored.
void ReadOtherwise(const std::string& path, std::uint64_t pages) {
    constexpr std::uint64_t kMostPages = 3;
    qvox::ReadOptions options;
    options.colour = qvox::ColourRule::kLuminance;
    for (options.page = 1; options.page <= std::min(pages, kMostPages); ++options.page) {
        const qvox::ImageFileInfo info = qvox::InspectImageFile(path, options);
        Promise(info.page == options.page && info.sizeZ == 1, "a page that is asked for is read alone");
        if (!HasAtMost(kMostVoxels, info)) return;
        if (qvox::GreyTypeOf(path, options) != qvox::VoxelType::kUint8) continue;
        qvox::VoxelImage<std::uint8_t> image;
        qvox::LoadImageFile(path, image, options);
        Promise(image.SizeX() == info.sizeX && image.SizeY() == info.sizeY, "grey has the sizes of the colours");
    }
    qvox::VoxelImage<double> numbers;
    qvox::LoadStoredNumbers(path, numbers);
    Promise(!numbers.Empty(), "numbers that are read are there");
}

Korvane::PositionStore StoreFor(const std::string& path, std::uint64_t sizeX, std::uint64_t sizeY,
                                std::uint64_t sizeZ) {
    Korvane::Position position;
    position.path = Korvane::PathText(path);
    position.image.Resize(sizeX, sizeY, sizeZ);
    position.image.Zero();
    position.labels.Resize(sizeX, sizeY, sizeZ);
    position.labels.SetResolution({672.0f, 672.0f, 0.0f});
    for (std::uint64_t i = 0; i < position.labels.VoxelCount(); ++i) {
        position.labels[i] = static_cast<std::uint16_t>(i % 7);
    }
    Korvane::PositionStore store;
    Korvane::AppendPosition(store, std::move(position));
    Korvane::RecountLabels(store);
    return store;
}

void LoadLabelsInto(Korvane::PositionStore& store) {
    const qvox::LabelImage before = *store.images.LabelsOf(0);
    qvox::LabelImage labels = before;
    const std::size_t countBefore = store.labelCount;
    bool loaded = false;
    try {
        loaded = Korvane::LoadLabels(store.paths[0], labels) == Korvane::LabelsFound::kLoaded;
        Promise(loaded, "a file that is there is loaded or refused");
    } catch (const qvox::ToolkitError&) {
    } catch (const Korvane::UnsupportedPixelType&) {
    } catch (const Korvane::InconsistentImageSize&) {
    }
    store.images.SetLabels(0, labels);
    Korvane::RecountLabels(store);
    const qvox::LabelImage after = *store.images.LabelsOf(0);
    Promise(after.SameSizes(before), "labels keep their sizes");
    Promise(after.Resolution() == before.Resolution() && after.Metadata() == before.Metadata(),
            "labels keep their resolution and description");
    if (loaded) return;
    Promise(std::equal(after.begin(), after.end(), before.begin()) && store.labelCount == countBefore,
            "a refused file changes no label");
}

}  // namespace

void FuzzTiff(const std::uint8_t* bytes, std::size_t count) {
    const std::string path = FileWith(bytes, count);
    try {
        const qvox::ImageFileInfo info = qvox::InspectImageFile(path);
        Promise(!info.typeText.empty(), "every kind has a text");
        Promise(qvox::ProbeVoxelType(path) == info.type, "the probe tells the same type");
        PromiseSensible(info.resolution);
        if (HasAtMost(kMostVoxels, info)) LoadProbed(path, info);
        ReadOtherwise(path, info.pages);
    } catch (const qvox::ToolkitError& error) {
        Promise(std::string(error.what()).find(path) != std::string::npos, "a refusal names the file");
    }
}

void FuzzLabels(const std::uint8_t* bytes, std::size_t count) {
    const std::string path = FileWith(bytes, count);
    Korvane::PositionStore other = StoreFor(path, 8, 6, 1);
    try {
        const qvox::ImageFileInfo info = qvox::InspectImageFile(path);
        if (!HasAtMost(kMostLabels, info)) return;
        Korvane::PositionStore same = StoreFor(path, info.sizeX, info.sizeY, info.sizeZ);
        LoadLabelsInto(same);
    } catch (const qvox::ToolkitError&) {
    }
    LoadLabelsInto(other);
}

}  // namespace korvane_test

#include "ImageLoading.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>

#include "FailureText.h"
#include "InspectedImage.h"
#include "PathText.h"

namespace Korvane {

namespace {

template <typename T>
void LoadConverted(const std::string& path, qvox::VoxelImage<float>& image, const qvox::ReadOptions& options) {
    qvox::VoxelImage<T> read;
    qvox::LoadImageFile(path, read, options);
    image.CopyPropertiesFrom(read);
    image.Resize(read.SizeX(), read.SizeY(), read.SizeZ());
    std::transform(read.begin(), read.end(), image.begin(), [](T value) { return static_cast<float>(value); });
}

/// The memory left free beside every position: saving, the undo copy of a usual image and the windows that report
/// failures need memory too.
constexpr std::size_t kWorkingBytes = std::size_t{64} << 20;

/// Throws std::bad_alloc when the working memory is not there. It is allocated and given back; no more than one page of
/// it is touched, without which the compiler may leave the allocation out.
void RequireWorkingMemory() {
    qvox::VoxelImage<std::uint8_t> working;
    working.Resize(kWorkingBytes, 1, 1);
    *static_cast<volatile std::uint8_t*>(working.begin()) = 0;
}

}  // namespace

void RefuseInputType(const std::string& path, const qvox::ImageFileInfo& info) {
    std::string detail = "It holds " + info.typeText + "; wanted is 8-bit, 16-bit or 32-bit float grey.";
    try {
        if (qvox::HoldsGreyInColour(path)) {
            const bool isRgb = info.typeText.compare(0, 3, "RGB") == 0;
            const bool isPalette = info.typeText.find("palette") != std::string::npos;
            detail += std::string(" It is a grey image stored ") +
                      (isRgb       ? "as RGB"
                       : isPalette ? "with a palette"
                                   : "as YCbCr") +
                      ": save it as grey.";
        }
    } catch (const std::exception&) {
        // What else is wrong with the file, or too little memory, does not change the type that it has.
    }
    throw UnsupportedPixelType(detail);
}

bool IsInputType(qvox::VoxelType type) {
    return type == qvox::VoxelType::kUint8 || type == qvox::VoxelType::kUint16 || type == qvox::VoxelType::kFloat32;
}

qvox::LabelImage EmptyLabelsFor(const qvox::VoxelImage<float>& image) {
    qvox::LabelImage labels;
    labels.CopyPropertiesFrom(image);
    labels.Resize(image.SizeX(), image.SizeY(), image.SizeZ());
    labels.Zero();
    return labels;
}

Position LoadPosition(const wxString& path, const qvox::ReadOptions& options) {
    return LoadInspected(path, qvox::InspectImageFile(PathBytes(path), options), options);
}

Position LoadInspected(const wxString& path, const qvox::ImageFileInfo& info, const qvox::ReadOptions& options) {
    const std::string bytes = PathBytes(path);
    Position position;
    position.path = path;
    switch (info.type) {
        case qvox::VoxelType::kUint8:
            LoadConverted<std::uint8_t>(bytes, position.image, options);
            break;
        case qvox::VoxelType::kUint16:
            LoadConverted<std::uint16_t>(bytes, position.image, options);
            break;
        case qvox::VoxelType::kFloat32:
            qvox::LoadImageFile(bytes, position.image, options);
            break;
        default:
            RefuseInputType(bytes, info);
    }
    position.labels = EmptyLabelsFor(position.image);
    RequireWorkingMemory();
    return position;
}

}  // namespace Korvane

#include "ImageLoading.h"

#include <cstddef>
#include <cstdint>
#include <exception>

#include "FailureText.h"
#include "InspectedImage.h"
#include "PathText.h"
#include "StoredImage.h"

namespace Korvane {

namespace {

/// The memory left free beside every position: saving, the undo copy of a usual image and the windows that report
/// failures need memory too.
constexpr std::size_t kWorkingBytes = std::size_t{64} << 20;

/// Whether a colour image is of a kind that can be read as grey.
bool IsMadeGrey(const std::string& path) { return qvox::GreyTypeOf(path) != qvox::VoxelType::kUnsupported; }

}  // namespace

void RequireWorkingMemory() {
    // It is allocated and given back. No more than one page of it is touched, without which the compiler may leave the
    // allocation out.
    qvox::VoxelImage<std::uint8_t> working;
    working.Resize(kWorkingBytes, 1, 1);
    *static_cast<volatile std::uint8_t*>(working.begin()) = 0;
}

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
                      ": save it as grey" + (IsMadeGrey(path) ? ", as korvane-batch calibrate --grey does." : ".");
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
    qvox::OpenImageFile file(PathBytes(path), options);
    return LoadOpened(path, file);
}

Position LoadOpened(const wxString& path, qvox::OpenImageFile& file) {
    Position position;
    position.path = path;
    position.image = TakeIntensities(LoadStoredImage(PathBytes(path), file));
    position.labels = EmptyLabelsFor(position.image);
    RequireWorkingMemory();
    return position;
}

}  // namespace Korvane

#include "Calibration.h"

#include <cmath>
#include <cstdint>

#include "FailureText.h"

namespace Korvane {

namespace {

template <typename T>
void Copy(const std::string& from, const std::string& to, const CopyChanges& changes) {
    qvox::VoxelImage<T> image;
    qvox::LoadImageFile(from, image, changes.reading);
    if (changes.pixelsPerUm) image.SetResolution({*changes.pixelsPerUm, *changes.pixelsPerUm, image.Resolution().z});
    qvox::SaveImageFile(to, image);
}

}  // namespace

bool HasPixelSize(const qvox::PixelResolution& resolution, float pixelsPerUm) {
    const auto same = [pixelsPerUm](float perUm) { return std::abs(perUm - pixelsPerUm) <= 1e-6f * pixelsPerUm; };
    return same(resolution.x) && same(resolution.y);
}

void WriteCopy(const std::string& from, const std::string& to, qvox::VoxelType type, const CopyChanges& changes) {
    switch (type) {
        case qvox::VoxelType::kUint8:
            return Copy<std::uint8_t>(from, to, changes);
        case qvox::VoxelType::kUint16:
            return Copy<std::uint16_t>(from, to, changes);
        case qvox::VoxelType::kFloat32:
            return Copy<float>(from, to, changes);
        default:
            throw UnsupportedPixelType();
    }
}

}  // namespace Korvane

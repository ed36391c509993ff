#include "Calibration.h"

#include <cmath>
#include <cstdint>

#include "FailureText.h"

namespace Korvane {

namespace {

template <typename T>
void Copy(const std::string& from, const std::string& to, float pixelsPerUm) {
    qvox::VoxelImage<T> image;
    qvox::LoadImageFile(from, image);
    image.SetResolution({pixelsPerUm, pixelsPerUm, image.Resolution().z});
    qvox::SaveImageFile(to, image);
}

}  // namespace

wxString PixelSizeText(const qvox::PixelResolution& resolution) {
    const auto& [x, y, z] = resolution;
    if (x <= 0.0f && y <= 0.0f) return "pixel size undefined";
    const auto inNm = [](float perUm) {
        return perUm > 0.0f ? wxString::FromCDouble(1000.0 / static_cast<double>(perUm)) : wxString("undefined");
    };
    wxString text = inNm(x);
    if (y != x) text += " x " + inNm(y);
    return text + " nm per pixel";
}

bool HasPixelSize(const qvox::PixelResolution& resolution, float pixelsPerUm) {
    const auto same = [pixelsPerUm](float perUm) { return std::abs(perUm - pixelsPerUm) <= 1e-6f * pixelsPerUm; };
    return same(resolution.x) && same(resolution.y);
}

void WriteCalibratedCopy(const std::string& from, const std::string& to, qvox::VoxelType type, float pixelsPerUm) {
    switch (type) {
        case qvox::VoxelType::kUint8:
            return Copy<std::uint8_t>(from, to, pixelsPerUm);
        case qvox::VoxelType::kUint16:
            return Copy<std::uint16_t>(from, to, pixelsPerUm);
        case qvox::VoxelType::kFloat32:
            return Copy<float>(from, to, pixelsPerUm);
        default:
            throw UnsupportedPixelType();
    }
}

}  // namespace Korvane

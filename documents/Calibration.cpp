#include "Calibration.h"

#include <algorithm>
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
    if (changes.beforeWriting) changes.beforeWriting();
    qvox::SaveImageFile(to, image);
}

}  // namespace

bool HasPixelSize(const qvox::PixelResolution& resolution, float pixelsPerUm) {
    const auto same = [pixelsPerUm](float perUm) { return std::abs(perUm - pixelsPerUm) <= 1e-6f * pixelsPerUm; };
    return same(resolution.x) && same(resolution.y);
}

std::vector<std::int64_t> BarLengthsPx(const std::vector<Annotation>& pieces) {
    std::vector<std::int64_t> lengths;
    for (const Annotation& piece : pieces) {
        if (piece.kind != Annotation::Kind::kScaleBar) continue;
        const bool isKnown = std::find(lengths.begin(), lengths.end(), piece.barLengthPx) != lengths.end();
        if (!isKnown) lengths.push_back(piece.barLengthPx);
    }
    return lengths;
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

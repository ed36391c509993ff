#pragma once

#include <cstdint>
#include <vector>

#include "LabelPainter.h"
#include "operations/PartRunner.h"

namespace Korvane {

/// The grey levels that an image is shown with, worked out where it is looked at: neither a second image is kept nor
/// is all of it converted for a view of a part. The image must outlive them.
class GreyLevels {
public:
    /// Nothing to show.
    GreyLevels() = default;
    /// As ConvertToGrey makes them. One pass over the image; an empty one has none.
    explicit GreyLevels(const qvox::VoxelImage<float>& raw, const qvox::PartRunner& run = qvox::RunOneByOne);
    /// As ConvertRangeToGrey makes them.
    GreyLevels(const qvox::VoxelImage<float>& raw, float black, float white);
    /// Those of an image that has them already.
    GreyLevels(const GreyPicture& grey)
        : grey_(&grey), sizeX_(grey.SizeX()), sizeY_(grey.SizeY()), sizeZ_(grey.SizeZ()) {}

    std::uint64_t SizeX() const { return sizeX_; }
    std::uint64_t SizeY() const { return sizeY_; }
    std::uint64_t SizeZ() const { return sizeZ_; }

    /// The levels of a row of the first plane at these columns, one behind the other. All must lie in the image.
    void Sample(std::uint64_t y, const std::vector<std::uint64_t>& columns, std::uint8_t* levels) const;

private:
    enum class Rule { kWhole, kRange };

    const GreyPicture* grey_ = nullptr;
    const qvox::VoxelImage<float>* raw_ = nullptr;
    Rule rule_ = Rule::kWhole;
    float black_ = 0.0f;
    float white_ = 0.0f;
    std::uint64_t sizeX_ = 0;
    std::uint64_t sizeY_ = 0;
    std::uint64_t sizeZ_ = 0;
};

/// The level of an intensity where the image's smallest is 0 and its largest, `range` above it, is 255.
inline std::uint8_t WholeRangeLevel(float value, float smallest, float range) {
    const float level = (value - smallest) / range * 255.0f;
    // The comparison is false for NaN; the conversion of a value beyond the byte would be undefined.
    return static_cast<std::uint8_t>(static_cast<int>(level >= 0.0f && level <= 255.0f ? level : 0.0f));
}

/// The level of an intensity where `black` is 0 and `white` is 255; `scale` is 255 over their distance, or 0.
inline std::uint8_t RangeLevel(float value, float black, float white, float scale) {
    const float level = (value - black) * scale;
    const float inside = level >= 0.0f && level <= 255.0f ? level : 0.0f;
    return static_cast<std::uint8_t>(static_cast<int>(value >= white ? 255.0f : inside));
}

inline float RangeScale(float black, float white) { return white - black > 0.0f ? 255.0f / (white - black) : 0.0f; }

}  // namespace Korvane

#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "LabelPainter.h"
#include "VoxelImage.h"

namespace Korvane {

/// Which intensities are shown from black to white, as percentiles of the image that is shown. Display alone: labels,
/// files and analyses do not depend on it.
struct DisplayRange {
    double lowPercent = 0.0;
    double highPercent = 100.0;
};
inline bool operator==(const DisplayRange& a, const DisplayRange& b) {
    return a.lowPercent == b.lowPercent && a.highPercent == b.highPercent;
}

/// From the smallest to the largest value, as images are shown without a choice.
inline bool IsWhole(const DisplayRange& range) { return range == DisplayRange(); }

/// The least that the two ends are apart.
inline constexpr double kLeastDisplayPercent = 1.0;

/// The ends in order, inside 0 .. 100 and far enough apart; the high end gives way.
DisplayRange Bounded(DisplayRange range);

/// One step brighter or darker: first the end that was moved the other way comes back, then the other end moves. The
/// two undo each other.
DisplayRange Brighter(const DisplayRange& range);
DisplayRange Darker(const DisplayRange& range);

/// How often the intensities of an image occur, between the smallest and the largest that are finite.
class IntensityDistribution {
public:
    /// Two passes. An image without finite values has none.
    explicit IntensityDistribution(const qvox::VoxelImage<float>& image);

    /// The intensity that this share of the voxels does not exceed, to 1/65536 of the range; 0 and 100 give the
    /// smallest and the largest value.
    float Percentile(double percent) const;

    /// The counts in so many parts of the range; `count` divides 65536.
    std::vector<std::uint64_t> Counts(std::size_t count) const;

    /// Where an intensity lies in the range, 0 .. 1.
    double Place(float intensity) const;

private:
    float smallest_ = 0.0f;
    float largest_ = 0.0f;
    std::uint64_t total_ = 0;
    std::vector<std::uint64_t> bins_;
};

/// Grey levels of an image from the intensity `black` (0 and below) to `white` (255 and above). NaN is 0; where the two
/// are the same, values from there on are 255. Otherwise as ConvertToGrey of LabelPainter.h. One pass.
void ConvertRangeToGrey(const qvox::VoxelImage<float>& raw, float black, float white, GreyPicture& grey);

}  // namespace Korvane

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "ClosedCurve.h"
#include "LabelExtents.h"
#include "PixelScale.h"
#include "VoxelImage.h"

namespace Korvane {

/// Directions in which an outline is profiled.
constexpr int kProfileDirections = 64;

/// The grey levels along the normals of an outline, one row per direction, from inside to outside. Lengths are in units
/// of PixelScale::UnitNm().
struct ProfileSet {
    double radius = 0.0;     ///< of the disc of the label's area
    double step = 0.0;       ///< between samples
    double smoothing = 0.0;  ///< sigma of the Gaussian along the profiles
    std::size_t length = 0;  ///< samples of a profile
    std::size_t origin = 0;  ///< the sample on the outline
    ClosedCurve outline;     ///< smoothed, in units
    std::vector<CurvePoint> normals;
    std::vector<float> grey;           ///< smoothed along the profiles and over neighbouring directions
    std::vector<float> slope;          ///< of `grey` outwards, per unit; 0 at the ends and where nothing is seen
    std::vector<std::uint8_t> isSeen;  ///< 0 beyond the first other label, excluded pixel, NaN or the image's edge

    double Place(std::size_t sample) const {
        return (static_cast<double>(sample) - static_cast<double>(origin)) * step;
    }
    const float* Grey(std::size_t direction) const { return grey.data() + direction * length; }
    const float* Slope(std::size_t direction) const { return slope.data() + direction * length; }
    const std::uint8_t* Seen(std::size_t direction) const { return isSeen.data() + direction * length; }
};

/// The profiles of a label, whose largest piece is taken where it has several. `excluded` may be null; its pixels other
/// than 0 are not looked at, nor is anything beyond `part`, where it is given. The images have the same sizes and are
/// one plane. Empty (length 0) where the piece is smaller than a disc of 3 units radius.
ProfileSet SampleProfiles(const qvox::VoxelImage<float>& image, const qvox::LabelImage& labels,
                          const qvox::VoxelImage<std::uint8_t>* excluded, const LabelExtent& extent,
                          const std::optional<ImagePart>& part = std::nullopt);

}  // namespace Korvane

#pragma once

#include <cstdint>
#include <vector>

#include "VoxelImage.h"

namespace Korvane {

using GreyPicture = qvox::VoxelImage<std::uint8_t>;
using ColourPicture = qvox::VoxelImage<qvox::Rgb8>;

/// Grey levels of an image, from its smallest value (0) to its largest (255):
/// (v - min) / (max - min) * 255 in single precision, truncated. Values for which that is not a number are 0: all of a
/// constant image, NaN voxels, every voxel of an image that holds an infinity. Resolution, offset and description are
/// taken over. An empty image gives an empty result. Two passes.
void ConvertToGrey(const qvox::VoxelImage<float>& raw, GreyPicture& grey);

/// How labels are drawn over the grey levels.
enum class LabelStyle {
    kNone,      ///< the image only
    kRegions,   ///< every voxel of a label in the label's colour
    kContours,  ///< only label voxels with another label, or none, in their 3 x 3 neighbourhood inside the image
};

/// A rectangle of an image, in voxels.
struct PixelRectangle {
    std::uint64_t x = 0;
    std::uint64_t y = 0;
    std::uint64_t width = 0;
    std::uint64_t height = 0;
};

template <typename T>
PixelRectangle WholeImage(const qvox::VoxelImage<T>& image) {
    return {0, 0, image.SizeX(), image.SizeY()};
}

/// Paints one part of an image with its labels. `painted` gets the part's size; its buffer is reused when it has that
/// already. A label replaces the grey value, nothing is blended. Neighbours beyond the part count, neighbours beyond
/// the image do not. Throws ToolkitError when the sizes of grey and labels differ, there are several planes, or the
/// part does not lie in the image. One pass over the part.
void PaintLabels(const GreyPicture& grey, const qvox::LabelImage& labels, LabelStyle style, const PixelRectangle& part,
                 ColourPicture& painted);

/// The whole painted image of a position at scale 1, as it is exported; it carries the image's resolution and
/// Orientation entry.
ColourPicture PaintPosition(const qvox::VoxelImage<float>& raw, const qvox::LabelImage& labels, LabelStyle style);

/// A voxel of a contour, with its label.
struct ContourVoxel {
    std::uint64_t x = 0;
    std::uint64_t y = 0;
    std::uint16_t label = 0;
};

/// The voxels of a part that LabelStyle::kContours colours, in raster order, for drawing them one by one where the
/// image is shown smaller than it is. Throws as PaintLabels does.
std::vector<ContourVoxel> ContourVoxels(const qvox::LabelImage& labels, const PixelRectangle& part);

/// Where the number of a label stands.
struct LabelAnchor {
    std::uint16_t label = 0;
    std::uint64_t x = 0;  ///< mean column of the label's voxels, rounded down
    std::uint64_t y = 0;  ///< mean row
};

/// One anchor per label present, in ascending order of label. One pass.
std::vector<LabelAnchor> LabelAnchors(const qvox::LabelImage& labels);

}  // namespace Korvane

#pragma once

#include <cstdint>
#include <vector>

#include "VoxelImage.h"

namespace Korvane {

/// A rectangle of pixels, all of an image or the part of it that was analysed.
struct ImagePart {
    std::uint64_t x = 0;
    std::uint64_t y = 0;
    std::uint64_t width = 0;
    std::uint64_t height = 0;
};

/// The pixels of one label, pieces together: how many there are and the box around them, both ends included.
struct LabelExtent {
    std::uint16_t label = 0;
    std::uint64_t pixels = 0;
    std::uint64_t minX = 0;
    std::uint64_t minY = 0;
    std::uint64_t maxX = 0;
    std::uint64_t maxY = 0;
};

/// One entry per label that occurs, in ascending order. Cost: one pass over the image.
std::vector<LabelExtent> LabelExtents(const qvox::LabelImage& labels);

/// True when the label has pixels on the image's outermost rows and columns, or those of its part, or beside them.
/// Detection never labels the outermost ones, so a vesicle that they cut ends beside them.
bool LiesNearFrame(const LabelExtent& extent, const ImagePart& part);

/// All of an image.
template <typename T>
ImagePart WholePart(const qvox::VoxelImage<T>& image) {
    return {0, 0, image.SizeX(), image.SizeY()};
}

}  // namespace Korvane

#pragma once

#include <cstdint>
#include <vector>

#include "VoxelImage.h"

namespace Korvane {

/// A rectangle of pixels.
struct PixelBox {
    std::int64_t x = 0;
    std::int64_t y = 0;
    std::int64_t width = 0;
    std::int64_t height = 0;
};

/// One connected piece of what a program wrote over an image.
struct Annotation {
    enum class Kind { kScaleBar, kWriting };
    Kind kind = Kind::kWriting;
    PixelBox box;
    std::uint64_t pixelCount = 0;
    std::int64_t barLengthPx = 0;  ///< of a scale bar, along its longer side; else 0
};

/// The scale bars and the writing of one image.
struct Annotations {
    std::vector<Annotation> pieces;  ///< bright ones first, each kind in raster order
    qvox::VoxelImage<bool> mask;     ///< of the image's sizes, true where they cover it; empty without pieces

    bool Empty() const { return pieces.empty(); }
    /// Pixels that all of them cover.
    std::uint64_t PixelCount() const;
    /// The smallest box around all of them.
    PixelBox Bounds() const;
};

/// Finds scale bars and writing that stand in the image itself. Both have the grey levels of one end of the image's
/// range, edges of two pixels at most and a contrast of a tenth of the range, and of twice the noise, to what surrounds
/// them. A scale bar is a straight strip, lying or standing, three times as long as thick at least and not as wide as
/// the image. Writing is three or more characters on one line, or a character beside a scale bar; where that end of the
/// range lies apart from the rest of the histogram, also any other sharp piece beside such, and one alone that is not
/// convex, such as an arrow. Vesicles, saturated particles and the bars of a grid have soft or ragged edges.
///
/// `image`: one plane of finite values; another number of planes, a constant image or one with values that are not
/// finite has no annotations. Ends of the range that fill more than three tenths of
/// the image, or are in more than 3000 pieces, are not looked at.
/// Cost: a few passes, and some hundred operations per pixel of what has the range's outermost levels.
Annotations FindAnnotations(const qvox::VoxelImage<float>& image);

}  // namespace Korvane

#pragma once

#include <string>
#include <vector>

#include "ObjectMeasures.h"
#include "Position.h"

namespace Korvane {

/// How an object is drawn in a thumbnail.
struct ThumbnailObject {
    std::size_t label = 0;
    double xPx = 0.0;  ///< where its number goes
    double yPx = 0.0;
    ClosedCurve outline;  ///< in pixels of the image
    bool isCounted = true;
};

/// A small version of an image as an SVG element for a page, with outlines, labels and a scale bar drawn over it. The
/// grey levels are in it as a PNG, stretched from the darkest hundredth of the small version to the brightest.
/// `widthPx` is the width of the small version; a smaller image stays as it is. Pixels that are not square are shown as
/// rectangles. Throws std::bad_alloc.
std::string ThumbnailSvg(const qvox::VoxelImage<float>& image, const std::vector<ThumbnailObject>& objects,
                         unsigned widthPx, const std::string& title);

/// The width for a page with so many images: all thumbnails together stay within some 40 MB.
unsigned ThumbnailWidth(std::size_t images);

}  // namespace Korvane

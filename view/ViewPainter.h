#pragma once

#include <cstdint>

#include "ContourIndex.h"
#include "GreyLevels.h"
#include "LabelPainter.h"
#include "operations/PartRunner.h"

namespace Korvane {

/// Which part of an image a window shows: the scroll position in window pixels, and window pixels per image pixel.
struct ViewPort {
    int startX = 0;
    int startY = 0;
    float zoom = 1.0f;
};

/// A rectangle in window pixels, (0, 0) being the corner of the view.
struct WindowRectangle {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

/// The colour of a view beside the image.
inline constexpr qvox::Rgb8 kViewBackground{150, 150, 150};

/// The image column (or row) that window pixel `pixel` shows; it may lie outside the image.
std::int64_t ImageCoordinate(int start, int pixel, float zoom);

/// Paints a rectangle of a view. `painted` gets the rectangle's size. Window pixel p shows image pixel
/// (start + p) / zoom, truncated; what lies beyond the image is kViewBackground. Where the image is shown smaller than
/// it is, contour voxels are painted one by one on top, so that thin outlines survive. Of an image with several planes
/// the first is shown, without labels. Costs about the rectangle's pixels, and for contours below zoom 1 the image
/// pixels under it; strips of rows are parts. Throws ToolkitError when labels are to be painted and their sizes are not
/// the image's.
void PaintView(const GreyLevels& grey, const qvox::LabelImage& labels, LabelStyle style, const ViewPort& port,
               const WindowRectangle& rectangle, ColourPicture& painted,
               const qvox::PartRunner& run = qvox::RunOneByOne);

/// The same, of labels whose contours are remembered from call to call. The index uses the labels.
void PaintView(const GreyLevels& grey, ContourIndex& labels, LabelStyle style, const ViewPort& port,
               const WindowRectangle& rectangle, ColourPicture& painted,
               const qvox::PartRunner& run = qvox::RunOneByOne);

}  // namespace Korvane

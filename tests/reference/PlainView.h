#pragma once

#include <cmath>
#include <cstdint>

#include "LabelColours.h"
#include "ViewPainter.h"
#include "reference/PlainLabelPainter.h"

namespace korvane_reference {

/// A view of a whole window, pixel by pixel: what the pointer's mapping names under each, and where the picture is
/// shown smaller than it is, every contour voxel of the image as a point on top, in raster order.
inline Korvane::ColourPicture PlainView(const Korvane::GreyPicture& grey, const qvox::LabelImage& labels,
                                        Korvane::LabelStyle style, const Korvane::ViewPort& port, int width,
                                        int height) {
    using Korvane::LabelStyle;
    const bool points = style == LabelStyle::kContours && port.zoom < 1.0f;
    Korvane::ColourPicture view;
    view.Resize(static_cast<std::uint64_t>(width), static_cast<std::uint64_t>(height), 1);
    for (int py = 0; py < height; ++py) {
        for (int px = 0; px < width; ++px) {
            const auto x = static_cast<std::int64_t>(std::floor(static_cast<float>(port.startX + px) / port.zoom));
            const auto y = static_cast<std::int64_t>(std::floor(static_cast<float>(port.startY + py) / port.zoom));
            const bool inside = x >= 0 && y >= 0 && x < static_cast<std::int64_t>(grey.SizeX()) &&
                                y < static_cast<std::int64_t>(grey.SizeY());
            const auto column = static_cast<std::uint64_t>(x);
            const auto row = static_cast<std::uint64_t>(y);
            view(static_cast<std::uint64_t>(px), static_cast<std::uint64_t>(py)) =
                inside ? PlainColour(grey(column, row), labels, column, row, points ? LabelStyle::kNone : style)
                       : Korvane::kViewBackground;
        }
    }
    if (!points) return view;
    for (std::uint64_t y = 0; y < labels.SizeY(); ++y) {
        for (std::uint64_t x = 0; x < labels.SizeX(); ++x) {
            if (labels(x, y) == 0 || !PlainOnContour(labels, x, y)) continue;
            const int px = static_cast<int>(std::floor(static_cast<float>(x) * port.zoom)) - port.startX;
            const int py = static_cast<int>(std::floor(static_cast<float>(y) * port.zoom)) - port.startY;
            if (px < 0 || py < 0 || px >= width || py >= height) continue;
            view(static_cast<std::uint64_t>(px), static_cast<std::uint64_t>(py)) = Korvane::LabelColour(labels(x, y));
        }
    }
    return view;
}

}  // namespace korvane_reference

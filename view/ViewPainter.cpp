#include "ViewPainter.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "ContourRow.h"
#include "LabelColours.h"

namespace Korvane {

namespace {

/// The image columns (or rows) that a range of window pixels shows.
struct Samples {
    std::vector<std::uint64_t> at;  ///< of window pixels first, first + 1, ...; they ascend
    std::size_t first = 0;          ///< those before lie outside the image, and so do all past the end
    std::uint64_t Begin() const { return at.empty() ? 0 : at.front(); }
    std::uint64_t End() const { return at.empty() ? 0 : at.back() + 1; }
    std::size_t Past() const { return first + at.size(); }
};

Samples SamplesOf(int start, int first, int count, float zoom, std::uint64_t size) {
    Samples samples;
    samples.at.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        const std::int64_t at = ImageCoordinate(start, first + i, zoom);
        if (at < 0) {
            ++samples.first;
        } else if (at < static_cast<std::int64_t>(size)) {
            samples.at.push_back(static_cast<std::uint64_t>(at));
        }
    }
    return samples;
}

/// One past the last voxel that falls before a window coordinate.
std::uint64_t PastEnd(int windowEnd, float zoom, std::uint64_t size) {
    return static_cast<std::uint64_t>(
        std::clamp<std::int64_t>(ImageCoordinate(0, windowEnd, zoom) + 1, 0, static_cast<std::int64_t>(size)));
}

/// `rowAt(y)` gives the colour of each column of an image row.
template <typename RowAt>
void PaintRows(const Samples& columns, const Samples& rows, ColourPicture& painted, RowAt rowAt) {
    for (std::size_t y = 0; y < painted.SizeY(); ++y) {
        qvox::Rgb8* const out = painted.Row(y);
        qvox::Rgb8* const end = out + painted.SizeX();
        if (y < rows.first || y >= rows.Past()) {
            std::fill(out, end, kViewBackground);
            continue;
        }
        const auto colourAt = rowAt(rows.at[y - rows.first]);
        std::fill(out, out + columns.first, kViewBackground);
        qvox::Rgb8* inside = out + columns.first;
        for (const std::uint64_t x : columns.at) *inside++ = colourAt(x);
        std::fill(inside, end, kViewBackground);
    }
}

int WindowCoordinate(std::uint64_t at, int start, float zoom) {
    return static_cast<int>(std::floor(static_cast<float>(at) * zoom)) - start;
}

/// Draws the contour voxels one by one over a rectangle whose sampled part of the image is `part`.
void DrawContourPoints(const qvox::LabelImage& labels, const ViewPort& port, const WindowRectangle& rectangle,
                       const PixelRectangle& part, ColourPicture& painted) {
    if (part.width == 0 || part.height == 0) return;
    // Voxels past the last one sampled still fall into the last window column or row.
    const std::uint64_t right = PastEnd(port.startX + rectangle.x + rectangle.width, port.zoom, labels.SizeX());
    const std::uint64_t bottom = PastEnd(port.startY + rectangle.y + rectangle.height, port.zoom, labels.SizeY());
    ContourRow contour(labels, part.x, right - part.x);
    for (std::uint64_t row = part.y; row < bottom; ++row) {
        const int windowY = WindowCoordinate(row, port.startY, port.zoom) - rectangle.y;
        if (windowY < 0 || windowY >= rectangle.height) continue;
        qvox::Rgb8* const out = painted.Row(static_cast<std::uint64_t>(windowY));
        contour.ForEach(row, [&](std::uint64_t x, std::uint64_t, std::uint16_t label) {
            const int windowX = WindowCoordinate(x, port.startX, port.zoom) - rectangle.x;
            if (windowX >= 0 && windowX < rectangle.width) out[windowX] = LabelColour(label);
        });
    }
}

}  // namespace

std::int64_t ImageCoordinate(int start, int pixel, float zoom) {
    return static_cast<std::int64_t>(std::floor(static_cast<float>(start + pixel) / zoom));
}

void PaintView(const GreyPicture& grey, const qvox::LabelImage& labels, LabelStyle style, const ViewPort& port,
               const WindowRectangle& rectangle, ColourPicture& painted) {
    if (rectangle.width <= 0 || rectangle.height <= 0) {
        painted.Release();
        return;
    }
    const Samples columns = SamplesOf(port.startX, rectangle.x, rectangle.width, port.zoom, grey.SizeX());
    const Samples rows = SamplesOf(port.startY, rectangle.y, rectangle.height, port.zoom, grey.SizeY());
    painted.Resize(static_cast<std::uint64_t>(rectangle.width), static_cast<std::uint64_t>(rectangle.height), 1);
    if (grey.SizeZ() > 1) style = LabelStyle::kNone;
    const PixelRectangle part{columns.Begin(), rows.Begin(), columns.End() - columns.Begin(),
                              rows.End() - rows.Begin()};
    if (style == LabelStyle::kRegions) {
        PaintRows(columns, rows, painted, [&](std::uint64_t y) {
            return [level = grey.Row(y), label = labels.Row(y)](std::uint64_t x) {
                return label[x] == 0 ? qvox::Rgb8{level[x], level[x], level[x]} : LabelColour(label[x]);
            };
        });
        return;
    }
    const bool seesImage = part.width > 0 && part.height > 0;
    if (style == LabelStyle::kContours && port.zoom >= 1.0f && seesImage) {
        ColourPicture sampled;
        PaintLabels(grey, labels, style, part, sampled);
        PaintRows(columns, rows, painted, [&](std::uint64_t y) {
            return [colour = sampled.Row(y - part.y), left = part.x](std::uint64_t x) { return colour[x - left]; };
        });
        return;
    }
    PaintRows(columns, rows, painted, [&](std::uint64_t y) {
        return [level = grey.Row(y)](std::uint64_t x) { return qvox::Rgb8{level[x], level[x], level[x]}; };
    });
    if (style == LabelStyle::kContours) DrawContourPoints(labels, port, rectangle, part, painted);
}

}  // namespace Korvane

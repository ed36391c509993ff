#include "ViewPainter.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

#include "LabelColours.h"

namespace Korvane {

namespace {

constexpr std::int64_t kOutside = -1;

/// The image column of every window column, kOutside beyond the image.
std::vector<std::int64_t> ImageCoordinates(int start, int first, int count, float zoom, std::uint64_t size) {
    std::vector<std::int64_t> coordinates(static_cast<std::size_t>(std::max(count, 0)));
    for (int i = 0; i < count; ++i) {
        const std::int64_t at = ImageCoordinate(start, first + i, zoom);
        const bool inside = at >= 0 && at < static_cast<std::int64_t>(size);
        coordinates[static_cast<std::size_t>(i)] = inside ? at : kOutside;
    }
    return coordinates;
}

/// First and one past the last of the coordinates inside the image.
std::pair<std::uint64_t, std::uint64_t> Span(const std::vector<std::int64_t>& coordinates) {
    std::int64_t first = kOutside;
    std::int64_t last = kOutside;
    for (const std::int64_t at : coordinates) {
        if (at == kOutside) continue;
        if (first == kOutside) first = at;
        last = at;
    }
    return first == kOutside ? std::pair<std::uint64_t, std::uint64_t>{0, 0}
                             : std::pair<std::uint64_t, std::uint64_t>{first, last + 1};
}

/// One past the last voxel that falls before a window coordinate.
std::uint64_t PastEnd(int windowEnd, float zoom, std::uint64_t size) {
    return static_cast<std::uint64_t>(
        std::clamp<std::int64_t>(ImageCoordinate(0, windowEnd, zoom) + 1, 0, static_cast<std::int64_t>(size)));
}

template <typename ColourAt>
void PaintRows(const std::vector<std::int64_t>& columns, const std::vector<std::int64_t>& rows, ColourPicture& picture,
               ColourAt colourAt) {
    for (std::size_t y = 0; y < rows.size(); ++y) {
        qvox::Rgb8* out = picture.Row(y);
        for (std::size_t x = 0; x < columns.size(); ++x) {
            const bool inside = rows[y] != kOutside && columns[x] != kOutside;
            out[x] = inside ? colourAt(static_cast<std::uint64_t>(columns[x]), static_cast<std::uint64_t>(rows[y]))
                            : kViewBackground;
        }
    }
}

int WindowCoordinate(std::uint64_t at, int start, float zoom) {
    return static_cast<int>(std::floor(static_cast<float>(at) * zoom)) - start;
}

}  // namespace

std::int64_t ImageCoordinate(int start, int pixel, float zoom) {
    return static_cast<std::int64_t>(std::floor(static_cast<float>(start + pixel) / zoom));
}

void PaintView(const GreyPicture& grey, const qvox::LabelImage& labels, LabelStyle style, const ViewPort& port,
               const WindowRectangle& rectangle, ColourPicture& picture) {
    if (rectangle.width <= 0 || rectangle.height <= 0) {
        picture.Release();
        return;
    }
    const auto columns = ImageCoordinates(port.startX, rectangle.x, rectangle.width, port.zoom, grey.SizeX());
    const auto rows = ImageCoordinates(port.startY, rectangle.y, rectangle.height, port.zoom, grey.SizeY());
    picture.Resize(columns.size(), rows.size(), 1);
    if (grey.SizeZ() > 1) style = LabelStyle::kNone;
    const auto [left, right] = Span(columns);
    const auto [top, bottom] = Span(rows);
    const PixelRectangle part{left, top, right - left, bottom - top};
    const auto greyAt = [&](std::uint64_t x, std::uint64_t y) {
        const std::uint8_t level = grey(x, y);
        return qvox::Rgb8{level, level, level};
    };
    if (style == LabelStyle::kRegions) {
        PaintRows(columns, rows, picture, [&](std::uint64_t x, std::uint64_t y) {
            const std::uint16_t label = labels(x, y);
            return label == 0 ? greyAt(x, y) : LabelColour(label);
        });
        return;
    }
    if (style == LabelStyle::kContours && port.zoom >= 1.0f) {
        ColourPicture painted;
        PaintLabels(grey, labels, style, part, painted);
        PaintRows(columns, rows, picture,
                  [&](std::uint64_t x, std::uint64_t y) { return painted(x - part.x, y - part.y); });
        return;
    }
    PaintRows(columns, rows, picture, greyAt);
    if (style == LabelStyle::kNone || part.width == 0 || part.height == 0) return;
    // Voxels past the last one sampled still fall into the last window column or row.
    PixelRectangle under = part;
    under.width = PastEnd(port.startX + rectangle.x + rectangle.width, port.zoom, grey.SizeX()) - part.x;
    under.height = PastEnd(port.startY + rectangle.y + rectangle.height, port.zoom, grey.SizeY()) - part.y;
    for (const ContourVoxel& voxel : ContourVoxels(labels, under)) {
        const int x = WindowCoordinate(voxel.x, port.startX, port.zoom) - rectangle.x;
        const int y = WindowCoordinate(voxel.y, port.startY, port.zoom) - rectangle.y;
        if (x < 0 || y < 0 || x >= rectangle.width || y >= rectangle.height) continue;
        picture(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y)) = LabelColour(voxel.label);
    }
}

}  // namespace Korvane

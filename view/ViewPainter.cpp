#include "ViewPainter.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>
#include <vector>

#include "ContourRow.h"
#include "LabelColours.h"
#include "ToolkitError.h"

namespace Korvane {

namespace {

// A smaller part takes less time than a thread takes to begin it.
constexpr std::uint64_t kFewestPixelsOfPart = std::uint64_t{1} << 16;

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

/// Paints the rows of a rectangle of a view, without contours that are drawn voxel by voxel.
class RowPainter {
public:
    RowPainter(const GreyLevels& grey, const qvox::LabelImage& labels, LabelStyle style, const Samples& columns)
        : grey_(grey), labels_(labels), style_(style), columns_(columns), levels_(columns.at.size()) {
        if (style != LabelStyle::kContours || columns.at.empty()) return;
        contour_.emplace(labels, columns.Begin(), columns.End() - columns.Begin());
    }

    void Paint(std::uint64_t y, qvox::Rgb8* out) {
        grey_.Sample(y, columns_.at, levels_.data());
        for (const std::uint8_t level : levels_) *out++ = {level, level, level};
        out -= levels_.size();
        if (style_ == LabelStyle::kRegions) Colour(labels_.Row(y), 0, labels_.Row(y), out);
        if (contour_) Colour(contour_->At(y).data(), columns_.Begin(), labels_.Row(y), out);
    }

private:
    /// Colours the pixels that show a marked voxel. The marks begin at column `first`.
    void Colour(const std::uint16_t* marks, std::uint64_t first, const std::uint16_t* labels, qvox::Rgb8* out) const {
        for (const std::uint64_t x : columns_.at) {
            if (marks[x - first] != 0) *out = LabelColour(labels[x]);
            ++out;
        }
    }

    const GreyLevels& grey_;
    const qvox::LabelImage& labels_;
    LabelStyle style_;
    const Samples& columns_;
    std::vector<std::uint8_t> levels_;
    std::optional<ContourRow> contour_;
};

/// Some rows of a rectangle in the window.
using WindowRows = qvox::PartRange;

void PaintRows(const Samples& columns, const Samples& rows, const WindowRows& part, RowPainter painter,
               ColourPicture& painted) {
    for (std::size_t y = part.first; y < part.end; ++y) {
        qvox::Rgb8* const out = painted.Row(y);
        qvox::Rgb8* const end = out + painted.SizeX();
        if (y < rows.first || y >= rows.Past()) {
            std::fill(out, end, kViewBackground);
            continue;
        }
        const std::size_t row = y - rows.first;
        // Enlarged, an image's row is shown by several.
        if (y > part.first && row > 0 && rows.at[row] == rows.at[row - 1]) {
            std::copy(out - painted.SizeX(), out, out);
            continue;
        }
        std::fill(out, out + columns.first, kViewBackground);
        painter.Paint(rows.at[row], out + columns.first);
        std::fill(out + columns.Past(), end, kViewBackground);
    }
}

int WindowCoordinate(std::uint64_t at, int start, float zoom) {
    return static_cast<int>(std::floor(static_cast<float>(at) * zoom)) - start;
}

/// Contour voxels that are drawn one by one over a rectangle whose sampled part of the image is `part`.
class ContourPoints {
public:
    ContourPoints(const qvox::LabelImage& labels, const ViewPort& port, const WindowRectangle& rectangle,
                  const PixelRectangle& part)
        : part_(part), width_(rectangle.width) {
        if (part.width == 0 || part.height == 0) return;
        // Voxels past the last one sampled still fall into the last window column or row.
        const std::uint64_t right = PastEnd(port.startX + rectangle.x + rectangle.width, port.zoom, labels.SizeX());
        const std::uint64_t bottom = PastEnd(port.startY + rectangle.y + rectangle.height, port.zoom, labels.SizeY());
        columns_ = PlacesOf(part.x, right, port.startX, rectangle.x, port.zoom);
        rows_ = PlacesOf(part.y, bottom, port.startY, rectangle.y, port.zoom);
    }

    /// Draws those of some rows. `eachVoxel(row, begin, end, visit)` calls visit(x, label) for those of a row of the
    /// image.
    template <typename EachVoxel>
    void Draw(const WindowRows& part, ColourPicture& painted, const EachVoxel& eachVoxel) const {
        const auto first = std::lower_bound(rows_.begin(), rows_.end(), static_cast<int>(part.first));
        const auto end = std::lower_bound(first, rows_.end(), static_cast<int>(part.end));
        for (auto place = first; place != end; ++place) {
            qvox::Rgb8* const out = painted.Row(static_cast<std::uint64_t>(*place));
            const std::uint64_t row = part_.y + static_cast<std::uint64_t>(place - rows_.begin());
            eachVoxel(row, part_.x, part_.x + columns_.size(), [&](std::uint64_t x, std::uint16_t label) {
                const int windowX = columns_[x - part_.x];
                if (windowX >= 0 && windowX < width_) out[windowX] = LabelColour(label);
            });
        }
    }

private:
    /// Where columns (or rows) begin .. end of the image fall in the rectangle or beside it; they ascend.
    static std::vector<int> PlacesOf(std::uint64_t begin, std::uint64_t end, int start, int first, float zoom) {
        std::vector<int> places(end - begin);
        for (std::size_t i = 0; i < places.size(); ++i) places[i] = WindowCoordinate(begin + i, start, zoom) - first;
        return places;
    }

    PixelRectangle part_;
    int width_;
    std::vector<int> columns_;
    std::vector<int> rows_;
};

/// `eachVoxel` is as ContourPoints::Draw wants it.
template <typename EachVoxel>
void Paint(const GreyLevels& grey, const qvox::LabelImage& labels, LabelStyle style, const ViewPort& port,
           const WindowRectangle& rectangle, ColourPicture& painted, const qvox::PartRunner& run,
           const EachVoxel& eachVoxel) {
    if (rectangle.width <= 0 || rectangle.height <= 0) {
        painted.Release();
        return;
    }
    const Samples columns = SamplesOf(port.startX, rectangle.x, rectangle.width, port.zoom, grey.SizeX());
    const Samples rows = SamplesOf(port.startY, rectangle.y, rectangle.height, port.zoom, grey.SizeY());
    painted.Resize(static_cast<std::uint64_t>(rectangle.width), static_cast<std::uint64_t>(rectangle.height), 1);
    if (grey.SizeZ() > 1) style = LabelStyle::kNone;
    const bool hasSizes = labels.SizeX() == grey.SizeX() && labels.SizeY() == grey.SizeY() && labels.SizeZ() <= 1;
    if (style != LabelStyle::kNone && !hasSizes) {
        throw qvox::ToolkitError("Painting a view: the image and its labels differ in size.");
    }
    // Where several voxels share a pixel of the window, those of contours are drawn on top, all of them.
    std::optional<ContourPoints> points;
    if (style == LabelStyle::kContours && port.zoom < 1.0f) {
        style = LabelStyle::kNone;
        points.emplace(labels, port, rectangle,
                       PixelRectangle{columns.Begin(), rows.Begin(), columns.End() - columns.Begin(),
                                      rows.End() - rows.Begin()});
    }
    const std::uint64_t fewest = std::max<std::uint64_t>(1, kFewestPixelsOfPart / painted.SizeX());
    qvox::RunRanges(painted.SizeY(), fewest, run, [&](const WindowRows& part) {
        PaintRows(columns, rows, part, RowPainter(grey, labels, style, columns), painted);
        if (points) points->Draw(part, painted, eachVoxel);
    });
}

}  // namespace

std::int64_t ImageCoordinate(int start, int pixel, float zoom) {
    return static_cast<std::int64_t>(std::floor(static_cast<float>(start + pixel) / zoom));
}

void PaintView(const GreyLevels& grey, const qvox::LabelImage& labels, LabelStyle style, const ViewPort& port,
               const WindowRectangle& rectangle, ColourPicture& painted, const qvox::PartRunner& run) {
    const auto eachVoxel = [&](std::uint64_t row, std::uint64_t begin, std::uint64_t end, const auto& visit) {
        ContourRow(labels, begin, end - begin)
            .ForEach(row, [&](std::uint64_t x, std::uint64_t, std::uint16_t label) { visit(x, label); });
    };
    Paint(grey, labels, style, port, rectangle, painted, run, eachVoxel);
}

void PaintView(const GreyLevels& grey, ContourIndex& labels, LabelStyle style, const ViewPort& port,
               const WindowRectangle& rectangle, ColourPicture& painted, const qvox::PartRunner& run) {
    // Each row of the image falls into one row of the window: no two parts look at the same one.
    const auto eachVoxel = [&](std::uint64_t row, std::uint64_t begin, std::uint64_t end, const auto& visit) {
        labels.ForEach(row, begin, end, visit);
    };
    Paint(grey, labels.Labels(), style, port, rectangle, painted, run, eachVoxel);
}

}  // namespace Korvane

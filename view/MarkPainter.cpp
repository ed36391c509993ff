#include "MarkPainter.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace Korvane {

namespace {

/// Which window pixels of a row show marks: those of the rectangle, and one more on each side.
class MarkedRow {
public:
    MarkedRow(const HandMarks& marks, const ViewPort& port, const WindowRectangle& rectangle)
        : marks_(marks), port_(port), left_(rectangle.x - 1), marked_(static_cast<std::size_t>(rectangle.width) + 2) {}

    void Fill(int windowY) {
        std::fill(marked_.begin(), marked_.end(), std::uint8_t{0});
        const std::int64_t y = ImageCoordinate(port_.startY, windowY, port_.zoom);
        const auto row = y < 0 ? marks_.Rows().end() : marks_.Rows().find(static_cast<std::uint64_t>(y));
        if (row == marks_.Rows().end()) return;
        auto run = row->second.begin();
        for (std::size_t i = 0; i < marked_.size(); ++i) {
            const std::int64_t x = ImageCoordinate(port_.startX, left_ + static_cast<int>(i), port_.zoom);
            while (run != row->second.end() && static_cast<std::int64_t>(run->end) <= x) ++run;
            if (run == row->second.end()) return;
            marked_[i] = x >= static_cast<std::int64_t>(run->begin) ? 1 : 0;
        }
    }

    /// Of a column of the rectangle; -1 and its width are those beside it.
    bool At(int column) const { return marked_[static_cast<std::size_t>(column + 1)] != 0; }
    void Swap(MarkedRow& other) { marked_.swap(other.marked_); }

private:
    const HandMarks& marks_;
    const ViewPort& port_;
    int left_;
    std::vector<std::uint8_t> marked_;
};

qvox::Rgb8 Half(const qvox::Rgb8& colour) {
    const auto mean = [](std::uint8_t a, std::uint8_t b) { return static_cast<std::uint8_t>((a + b) / 2); };
    return {mean(colour.r, kMarkColour.r), mean(colour.g, kMarkColour.g), mean(colour.b, kMarkColour.b)};
}

/// A pixel of margin on each side is the neighbours'.
bool ShowsMarks(const PixelRectangle& bounds, const ViewPort& port, const WindowRectangle& rectangle) {
    const auto outside = [&](int start, int first, int count, std::uint64_t from, std::uint64_t length) {
        return ImageCoordinate(start, first + count, port.zoom) < static_cast<std::int64_t>(from) ||
               ImageCoordinate(start, first - 1, port.zoom) >= static_cast<std::int64_t>(from + length);
    };
    return !outside(port.startX, rectangle.x, rectangle.width, bounds.x, bounds.width) &&
           !outside(port.startY, rectangle.y, rectangle.height, bounds.y, bounds.height);
}

}  // namespace

void PaintMarks(const HandMarks& marks, const ViewPort& port, const WindowRectangle& rectangle,
                ColourPicture& painted) {
    if (marks.Empty() || rectangle.width <= 0 || rectangle.height <= 0) return;
    if (!ShowsMarks(marks.Bounds(), port, rectangle)) return;
    MarkedRow above(marks, port, rectangle);
    MarkedRow here(marks, port, rectangle);
    MarkedRow below(marks, port, rectangle);
    above.Fill(rectangle.y - 1);
    here.Fill(rectangle.y);
    for (int y = 0; y < rectangle.height; ++y) {
        below.Fill(rectangle.y + y + 1);
        qvox::Rgb8* const out = painted.Row(static_cast<std::uint64_t>(y));
        for (int x = 0; x < rectangle.width; ++x) {
            if (!here.At(x)) continue;
            const bool isInside = above.At(x) && below.At(x) && here.At(x - 1) && here.At(x + 1);
            out[x] = isInside ? Half(out[x]) : kMarkColour;
        }
        above.Swap(here);
        here.Swap(below);
    }
}

}  // namespace Korvane

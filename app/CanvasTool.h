#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <optional>

#include "HandMarks.h"
#include "LabelEditing.h"
#include "LabelPainter.h"

namespace Korvane {

/// What the left button does on the canvas.
enum class CanvasTool {
    kLabels,  ///< brush and contour
    kMarks,   ///< the brush marks bars and writing, or erases marks
    kRegion,  ///< one rectangle, the region that is analysed
    kLine     ///< one line, as long as a scale bar
};

/// A tool with the drag that is going on.
struct ToolDrag {
    CanvasTool tool = CanvasTool::kLabels;
    std::optional<Pixel> from = std::nullopt;  ///< where the drag began, of marks: went on
    Pixel to;
    HandMarks::Stroke stroke = HandMarks::Stroke::kMark;

    bool DrawsShape() const { return tool == CanvasTool::kRegion || tool == CanvasTool::kLine; }

    /// What is drawn, both ends included; of width 0 while nothing is. A scale bar lies or stands: so does the line,
    /// along the way that it is longer.
    PixelRectangle Shape() const {
        if (!from || !DrawsShape()) return {};
        Pixel end = to;
        if (tool == CanvasTool::kLine) {
            const bool isLying = std::abs(to.x - from->x) >= std::abs(to.y - from->y);
            (isLying ? end.y : end.x) = isLying ? from->y : from->x;
        }
        return {static_cast<std::uint64_t>(std::min(from->x, end.x)),
                static_cast<std::uint64_t>(std::min(from->y, end.y)),
                static_cast<std::uint64_t>(std::abs(end.x - from->x)) + 1,
                static_cast<std::uint64_t>(std::abs(end.y - from->y)) + 1};
    }
    /// Pixels from one end of a line to the other, both counted.
    std::uint64_t LengthPx() const { return std::max(Shape().width, Shape().height); }
};

}  // namespace Korvane

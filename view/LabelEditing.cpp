#include "LabelEditing.h"

#include <algorithm>
#include <array>
#include <limits>

#include "Neighbourhood8.h"
#include "operations/FloodFill.h"
#include "operations/HoleFilling.h"
#include "operations/Line.h"

namespace Korvane {

namespace {

using qvox::LabelImage;

constexpr std::uint16_t kContourValue = 65535;

std::int64_t Truncated(float value) {
    // Far beyond any image, and within what the arithmetic on voxels can take.
    constexpr float kLimit = 1e12f;
    if (!(value == value)) return -1;
    return static_cast<std::int64_t>(std::clamp(value, -kLimit, kLimit));
}

bool InsideRange(float value, std::uint64_t size) {
    return value >= 0.0f && static_cast<std::uint64_t>(Truncated(value)) < size;
}

/// Gives a label to a part of a row, notifying the census run by run.
void SetRun(LabelImage& labels, EditingState& state, std::uint16_t label, std::uint64_t x, std::uint64_t end,
            std::uint64_t y) {
    std::uint16_t* const row = labels.Row(y);
    while (x < end) {
        const std::uint16_t before = row[x];
        const std::uint64_t start = x;
        while (x < end && row[x] == before) ++x;
        // First, as it can fail: what is not recorded is not changed.
        state.changes.Add({labels.Index(start, y), x - start, before, label});
        std::fill(row + start, row + x, label);
        state.census.Replace(before, label, start, y, x - start);
    }
}

void Count(EditedPosition& position, EditingState& state) {
    state.census.Ensure(position.labels);
    position.labelCount = state.census.ObjectCount();
}

/// The smallest rectangle that holds all the points.
PixelRectangle BoxOf(const std::vector<std::uint64_t>& points, const LabelImage& labels) {
    std::uint64_t left = std::numeric_limits<std::uint64_t>::max();
    std::uint64_t top = left;
    std::uint64_t right = 0;
    std::uint64_t bottom = 0;
    for (const std::uint64_t point : points) {
        const auto [x, y, z] = labels.Coordinates(point);
        static_cast<void>(z);
        left = std::min(left, x);
        right = std::max(right, x);
        top = std::min(top, y);
        bottom = std::max(bottom, y);
    }
    return {left, top, right - left + 1, bottom - top + 1};
}

/// The closed line through the points and what it encloses, as kContourValue in an image of their box. Beyond the box
/// nothing is drawn, and each voxel there has a straight way to the image's border, so the box's border stands for it.
LabelImage FilledContour(const std::vector<std::uint64_t>& points, const LabelImage& labels,
                         const PixelRectangle& box) {
    LabelImage outline;
    outline.Resize(box.width, box.height, 1);
    outline.Zero();
    const auto inBox = [&](std::uint64_t point) {
        const auto at = labels.Coordinates(point);
        return std::array<std::int64_t, 3>{static_cast<std::int64_t>(at[0] - box.x),
                                           static_cast<std::int64_t>(at[1] - box.y), 0};
    };
    for (std::size_t i = 1; i < points.size(); ++i) {
        qvox::DrawLine(outline, inBox(points[i]), inBox(points[i - 1]), kContourValue);
    }
    qvox::DrawLine(outline, inBox(points.back()), inBox(points.front()), kContourValue);
    LabelImage filled;
    qvox::FillHoles(outline, filled);
    return filled;
}

}  // namespace

Pixel PixelAt(const ImagePoint& point) { return {Truncated(point.x), Truncated(point.y)}; }

bool Inside(const LabelImage& labels, const ImagePoint& point) {
    return InsideRange(point.x, labels.SizeX()) && InsideRange(point.y, labels.SizeY());
}

EditResult PreviousLabel(std::uint16_t& currentLabel) {
    if (currentLabel == 0) return EditResult::kNothing;
    --currentLabel;
    return EditResult::kRepaint;
}

EditResult NextLabel(std::uint16_t& currentLabel) {
    if (currentLabel == std::numeric_limits<std::uint16_t>::max()) return EditResult::kMaximumReached;
    ++currentLabel;
    return EditResult::kRepaint;
}

EditResult EmptyLabel(std::uint16_t& currentLabel) {
    currentLabel = 0;
    return EditResult::kRepaint;
}

EditResult UniqueLabel(EditedPosition position, EditingState& state) {
    state.census.Ensure(position.labels);
    const std::optional<std::uint16_t> label = state.census.FirstUnusedLabel();
    if (!label) return EditResult::kMaximumReached;
    position.currentLabel = *label;
    return EditResult::kRepaint;
}

EditResult DecreaseBrushRadius(EditingState& state) {
    if (state.mode == DrawingMode::kContour) return EditResult::kNothing;
    if (state.brushRadiusPx > kMinBrushRadiusPx) --state.brushRadiusPx;
    return EditResult::kRepaint;
}

EditResult IncreaseBrushRadius(EditingState& state) {
    if (state.mode == DrawingMode::kBrush && state.brushRadiusPx < kMaxBrushRadiusPx) ++state.brushRadiusPx;
    return EditResult::kRepaint;
}

EditResult FlipDrawingMode(EditingState& state) {
    state.mode = state.mode == DrawingMode::kBrush ? DrawingMode::kContour : DrawingMode::kBrush;
    state.contourPoints.clear();
    return EditResult::kRepaint;
}

void TakeUndoCopy(EditedPosition position, EditingState& state) {
    state.undo.Copy(position.labels, position.undoLabels);
}

PixelRectangle PressLeft(EditedPosition position, EditingState& state, const ImagePoint& point) {
    TakeUndoCopy(position, state);
    return DragLeft(position, state, point);
}

PixelRectangle DragLeft(EditedPosition position, EditingState& state, const ImagePoint& point) {
    if (state.mode == DrawingMode::kBrush) return PaintDisc(position, state, PixelAt(point));
    if (!Inside(position.labels, point)) return {};
    const Pixel pixel = PixelAt(point);
    state.contourPoints.push_back(
        position.labels.Index(static_cast<std::uint64_t>(pixel.x), static_cast<std::uint64_t>(pixel.y)));
    return {};
}

PixelRectangle ReleaseLeft(EditedPosition position, EditingState& state) {
    return state.mode == DrawingMode::kContour ? FillContour(position, state) : PixelRectangle{};
}

EditResult PickLabel(EditedPosition position, const EditingState& state, const ImagePoint& point) {
    if (!state.contourPoints.empty()) return EditResult::kNothing;
    position.currentLabel = 0;
    if (Inside(position.labels, point)) {
        const Pixel pixel = PixelAt(point);
        position.currentLabel =
            position.labels(static_cast<std::uint64_t>(pixel.x), static_cast<std::uint64_t>(pixel.y));
    }
    return EditResult::kRepaint;
}

std::int64_t DiscReach(std::int64_t radius, std::int64_t dy) {
    std::int64_t reach = radius - 1;
    while (reach > 0 && reach * reach + dy * dy >= radius * radius) --reach;
    return reach;
}

PixelRectangle PaintDisc(EditedPosition position, EditingState& state, const Pixel& centre) {
    Count(position, state);
    LabelImage& labels = position.labels;
    const std::int64_t radius = state.brushRadiusPx;
    const auto width = static_cast<std::int64_t>(labels.SizeX());
    const auto height = static_cast<std::int64_t>(labels.SizeY());
    // No voxel at distance `radius` belongs to the disc, so its box is one narrower on each side.
    const std::int64_t left = std::max<std::int64_t>(centre.x - radius + 1, 0);
    const std::int64_t right = std::min<std::int64_t>(centre.x + radius, width);
    const std::int64_t top = std::max<std::int64_t>(centre.y - radius + 1, 0);
    const std::int64_t bottom = std::min<std::int64_t>(centre.y + radius, height);
    if (left >= right || top >= bottom) return {};
    const PixelRectangle box{static_cast<std::uint64_t>(left), static_cast<std::uint64_t>(top),
                             static_cast<std::uint64_t>(right - left), static_cast<std::uint64_t>(bottom - top)};
    state.undo.Mark(box);
    for (std::int64_t y = top; y < bottom; ++y) {
        const std::int64_t dy = y - centre.y;
        const std::int64_t reach = DiscReach(radius, dy);
        const std::int64_t first = std::max(centre.x - reach, left);
        const std::int64_t end = std::min(centre.x + reach + 1, right);
        if (first >= end) continue;
        SetRun(labels, state, position.currentLabel, static_cast<std::uint64_t>(first),
               static_cast<std::uint64_t>(end), static_cast<std::uint64_t>(y));
    }
    position.labelCount = state.census.ObjectCount();
    return box;
}

PixelRectangle FillContour(EditedPosition position, EditingState& state) {
    if (state.contourPoints.empty()) return {};
    // Points that outlived a failure would keep the position from being left.
    std::vector<std::uint64_t> points;
    points.swap(state.contourPoints);
    const PixelRectangle box = BoxOf(points, position.labels);
    const LabelImage filled = FilledContour(points, position.labels, box);
    state.census.Ensure(position.labels);
    state.undo.Mark(box);
    for (std::uint64_t row = 0; row < box.height; ++row) {
        const std::uint16_t* inside = filled.Row(row);
        for (std::uint64_t x = 0; x < box.width;) {
            const std::uint64_t start = x;
            while (x < box.width && inside[x] == kContourValue) ++x;
            SetRun(position.labels, state, position.currentLabel, box.x + start, box.x + x, box.y + row);
            while (x < box.width && inside[x] != kContourValue) ++x;
        }
    }
    position.labelCount = state.census.ObjectCount();
    return box;
}

PixelRectangle RepaintComponent(EditedPosition position, EditingState& state, const ImagePoint& point) {
    const Pixel pixel = PixelAt(point);
    LabelImage& labels = position.labels;
    if (!state.contourPoints.empty() || pixel.x < 0 || pixel.y < 0 ||
        static_cast<std::uint64_t>(pixel.x) >= labels.SizeX() ||
        static_cast<std::uint64_t>(pixel.y) >= labels.SizeY()) {
        return {};
    }
    TakeUndoCopy(position, state);
    state.undo.MarkAll();
    try {
        qvox::FloodFillLabel(labels, position.currentLabel, static_cast<std::uint64_t>(pixel.x),
                             static_cast<std::uint64_t>(pixel.y), 0, qvox::Neighbourhood8{});
    } catch (...) {
        // Half of the component may have the label by now.
        state.census.Forget();
        throw;
    }
    const PixelRectangle changed = state.undo.Settle(labels, position.undoLabels, state.census, state.changes);
    Count(position, state);
    return changed;
}

EditResult UndoEdit(EditedPosition position, EditingState& state, PixelRectangle* changed) {
    if (position.undoLabels.Empty()) return EditResult::kNothing;
    const PixelRectangle box = state.undo.Restore(position.labels, position.undoLabels, state.census, state.changes);
    if (changed != nullptr) *changed = box;
    return EditResult::kRepaint;
}

EditResult ClearLabels(EditedPosition position, EditingState& state) {
    TakeUndoCopy(position, state);
    state.undo.MarkAll();
    state.changes.Append(ClearingOf(position.labels));
    position.labels.Zero();
    position.labelCount = 0;
    position.currentLabel = 1;
    state.census.Forget();
    return EditResult::kRepaint;
}

PixelRectangle ApplyToEdited(const LabelChanges& changes, ChangeDirection direction, EditedPosition position,
                             EditingState& state) {
    state.census.Ensure(position.labels);
    std::uint64_t left = std::numeric_limits<std::uint64_t>::max();
    std::uint64_t top = left;
    std::uint64_t right = 0;
    std::uint64_t bottom = 0;
    const bool undo = direction == ChangeDirection::kUndo;
    const auto apply = [&](const LabelRun& run) {
        const auto [x, y, z] = position.labels.Coordinates(run.start);
        static_cast<void>(z);
        const std::uint16_t from = undo ? run.after : run.before;
        const std::uint16_t to = undo ? run.before : run.after;
        std::fill_n(position.labels.begin() + run.start, run.length, to);
        state.census.Replace(from, to, x, y, run.length);
        state.undo.Mark({x, y, run.length, 1});
        left = std::min(left, x);
        right = std::max(right, x + run.length);
        top = std::min(top, y);
        bottom = std::max(bottom, y + 1);
    };
    if (undo) {
        changes.ForEachReversed(apply);
    } else {
        changes.ForEach(apply);
    }
    position.labelCount = state.census.ObjectCount();
    return right == 0 ? PixelRectangle{} : PixelRectangle{left, top, right - left, bottom - top};
}

void LabelsReplaced(EditingState& state) {
    state.census.Forget();
    state.undo.Forget();
}

}  // namespace Korvane

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "LabelCensus.h"
#include "LabelChanges.h"
#include "LabelPainter.h"
#include "UndoBase.h"
#include "ViewTransform.h"
#include "VoxelImage.h"

namespace Korvane {

inline constexpr int kMinBrushRadiusPx = 1;
inline constexpr int kMaxBrushRadiusPx = 99;
inline constexpr int kFirstBrushRadiusPx = 10;

/// The texts of the message boxes for EditResult::kMaximumReached: of NextLabel, and of UniqueLabel.
inline constexpr const char* kNoNextLabelText = "The maximum number of labels reached!";
inline constexpr const char* kNoUniqueLabelText = "Maximum number of labels reached!";

enum class DrawingMode { kBrush, kContour };

/// The work left for the window after a command.
enum class EditResult {
    kNothing,         ///< nothing happened
    kRepaint,         ///< repaint, also when the command found nothing to change
    kMaximumReached,  ///< no further label; nothing changed, and the person is to be notified
};

/// The tools' own state.
struct EditingState {
    int brushRadiusPx = kFirstBrushRadiusPx;
    DrawingMode mode = DrawingMode::kBrush;
    std::vector<std::uint64_t> contourPoints;  ///< linear indices of voxels, in the order drawn
    LabelCensus census;                        ///< of the current position; see LabelCensus::Forget
    UndoBase undo;                             ///< of the current position; see UndoBase::Forget
    LabelChanges changes;                      ///< made by the tools since the window took them last
};

/// The members of the current position that the tools change; they belong to the position store.
struct EditedPosition {
    qvox::LabelImage& labels;
    qvox::LabelImage& undoLabels;  ///< empty when there is nothing to undo
    std::uint16_t& currentLabel;
    std::size_t& labelCount;
};

/// A voxel.
struct Pixel {
    std::int64_t x = 0;
    std::int64_t y = 0;
};
inline bool operator==(const Pixel& a, const Pixel& b) { return a.x == b.x && a.y == b.y; }

/// The voxel a point lies in; coordinates are truncated, so that points less than a voxel left of or above the image
/// fall in its first column or row. Inside() tests the point itself.
Pixel PixelAt(const ImagePoint& point);

/// Whether 0 <= x < width and 0 <= y < height.
bool Inside(const qvox::LabelImage& labels, const ImagePoint& point);

// Commands. None fails.

EditResult PreviousLabel(std::uint16_t& currentLabel);
EditResult NextLabel(std::uint16_t& currentLabel);
EditResult EmptyLabel(std::uint16_t& currentLabel);
/// Makes the smallest label from 1 on that no voxel has the current one.
EditResult UniqueLabel(EditedPosition position, EditingState& state);
/// One less, down to kMinBrushRadiusPx; kNothing in contour mode.
EditResult DecreaseBrushRadius(EditingState& state);
/// One more, up to kMaxBrushRadiusPx; in contour mode the radius stays.
EditResult IncreaseBrushRadius(EditingState& state);
/// The other mode; the points collected are dropped.
EditResult FlipDrawingMode(EditingState& state);

// The pointer. Points are in image coordinates (ClientToImage). What returns a rectangle returns the voxels that may
// have another label now, of width 0 when there are none; contours can change one voxel farther on each side.

/// Keeps the labels for one undo; see UndoBase::Copy.
void TakeUndoCopy(EditedPosition position, EditingState& state);

/// Left button down: undo copy, then as DragLeft.
PixelRectangle PressLeft(EditedPosition position, EditingState& state, const ImagePoint& point);

/// Any event with the left button held: in brush mode one dab, in contour mode one point more if it lies in the image.
PixelRectangle DragLeft(EditedPosition position, EditingState& state, const ImagePoint& point);

/// Left button up: fills the contour in contour mode.
PixelRectangle ReleaseLeft(EditedPosition position, EditingState& state);

/// Right button up: the label under the point becomes the current one, 0 outside the image; kNothing while a contour is
/// being drawn.
EditResult PickLabel(EditedPosition position, const EditingState& state, const ImagePoint& point);

/// How far the brush's disc, dx^2 + dy^2 < radius^2, reaches to each side in the row at `dy`, less than `radius` away.
std::int64_t DiscReach(std::int64_t radius, std::int64_t dy);

/// Gives a disc the current label: the voxels with dx^2 + dy^2 < radius^2, clipped to the image, and counts the labels.
/// Costs one pass over the disc's box, after the census was taken once.
PixelRectangle PaintDisc(EditedPosition position, EditingState& state, const Pixel& centre);

/// Gives the current label to the closed line through the points collected and to all that it encloses (ways out run
/// through the sides of voxels), drops the points and counts the labels. One point gives one voxel; without points
/// nothing happens, and the labels are not counted. Works in the box of the points. When memory runs out
/// (std::bad_alloc) the points are gone and the labels as they were.
PixelRectangle FillContour(EditedPosition position, EditingState& state);

/// Undo copy, then the current label for the whole connected set of voxels of one label (8-neighbourhood, background
/// too) that the point lies in; counts the labels. Nothing happens outside the image or while a contour is being drawn.
/// Passes over the whole image.
PixelRectangle RepaintComponent(EditedPosition position, EditingState& state, const ImagePoint& point);

/// Gives the undo copy back and leaves it empty; kNothing when it is. The label count stays until the next edit. Costs
/// what was changed since the copy was taken; `changed`, where it is given, becomes the box of it, of width 0 when
/// nothing was.
EditResult UndoEdit(EditedPosition position, EditingState& state, PixelRectangle* changed = nullptr);

/// Undo copy, then no labels, count 0 and current label 1.
EditResult ClearLabels(EditedPosition position, EditingState& state);

/// Takes changes of the current position's labels back, or makes them again, keeps the census and the undo copy's marks
/// true and counts the labels. Costs what is changed, after the census was taken once.
PixelRectangle ApplyToEdited(const LabelChanges& changes, ChangeDirection direction, EditedPosition position,
                             EditingState& state);

/// To be called after whatever else changed the labels or the current position (switch, open, load, detection,
/// clearing all): everything kept about them is void.
void LabelsReplaced(EditingState& state);

}  // namespace Korvane

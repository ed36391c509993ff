#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "LabelCensus.h"
#include "LabelChanges.h"
#include "LabelPainter.h"
#include "VoxelImage.h"

namespace Korvane {

/// Makes undo copies cheap without making them less than copies: it keeps in which tiles the copy's buffer may differ
/// from the labels, so that a further copy moves those tiles only. While nothing can be undone, the buffer waits here.
/// Whoever changes the labels in another way than by the editing tools must say so by Forget().
class UndoBase {
public:
    /// Makes `undo` a copy of `labels`. Costs the tiles changed since the two were last equal, and the whole image the
    /// first time, after Forget() and for other sizes. std::bad_alloc leaves both images as they were.
    void Copy(const qvox::LabelImage& labels, qvox::LabelImage& undo);

    /// The tools changed this rectangle of the labels, or may have.
    void Mark(const PixelRectangle& changed);
    void MarkAll();

    /// Finds out in which of the marked tiles the labels do differ from the copy and keeps the marks of those only. The
    /// census, if it was taken of the copy's labels, becomes one of the labels; what differs is added to `changes`.
    /// Gives the box of what differs, of width 0 when nothing does. One pass over the marked tiles.
    PixelRectangle Settle(const qvox::LabelImage& labels, const qvox::LabelImage& undo, LabelCensus& census,
                          LabelChanges& changes);

    /// Gives the copy back: `labels` becomes what `undo` was, which is left empty. The census becomes one of the labels
    /// as they are then; what differs is added to `changes`. Gives the box of what differs, of width 0 when nothing
    /// does. Costs the marked tiles.
    PixelRectangle Restore(qvox::LabelImage& labels, qvox::LabelImage& undo, LabelCensus& census, LabelChanges& changes);

    enum class Progress { kMore, kDone };

    /// A part of the work of the next Copy(), ahead of time, while `undo` is empty: about `voxels` of them.
    /// std::bad_alloc changes nothing.
    Progress Prepare(const qvox::LabelImage& labels, const qvox::LabelImage& undo, std::uint64_t voxels);

    /// Labels were changed elsewhere, or other labels are edited now: the buffer is void.
    void Forget();

    /// Frees the buffer.
    void Release();

    /// Edge of a tile, in voxels.
    static constexpr std::uint64_t kTile = 128;

private:
    void Fit(const qvox::LabelImage& labels, const qvox::LabelImage& buffer);
    void CopyMarked(const qvox::LabelImage& labels, qvox::LabelImage& buffer, std::uint64_t voxels);
    PixelRectangle TileAt(std::size_t tile) const;

    qvox::LabelImage spare_;           ///< the buffer while the undo copy is empty
    std::vector<std::uint8_t> marks_;  ///< by tile, row by row: whether the two may differ there
    std::size_t firstMark_ = 0;        ///< no tile before this one is marked
    std::uint64_t columns_ = 0;        ///< tiles beside each other
    std::uint64_t width_ = 0;          ///< of the labels
    std::uint64_t height_ = 0;
    const std::uint16_t* labels_ = nullptr;  ///< the marks are of these two buffers
    const std::uint16_t* buffer_ = nullptr;
};

}  // namespace Korvane

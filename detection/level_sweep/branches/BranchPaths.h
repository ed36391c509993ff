#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "bits/ColumnGrid.h"
#include "branches/AffectedPaths.h"
#include "branches/BranchMarks.h"
#include "branches/LinePixels.h"
#include "branches/MarkedBranches.h"
#include "branches/PathStore.h"
#include "branches/PathTracer.h"
#include "branches/RasterOrder.h"
#include "branches/RasterQueue.h"
#include "branches/ReleasedPixels.h"
#include "skeleton/IncrementalSkeleton.h"

namespace level_sweep {

/// The open branches of a skeleton, pruned from their ends inwards and maintained incrementally as the skeleton
/// changes. Lines that close on themselves have no end and remain.
///
/// Rules of pruning:
/// - Branches start at the ends of lines (IncrementalSkeleton).
/// - At the image's border everything beyond counts as set. So no end lies on the border, and a line from border to
///   border remains. A line with a loose end is taken from that end on, its pixel on the border included.
/// - Ends are numbered in raster order and traced from the last to the first. The path of one is traced to its end
///   (PathTracer) before the next one starts, and finds the lines without the pixels of the paths before it.
/// - How many pixels each path counted decides which ends are marked (BranchMarks).
///
/// For the path of an end a pixel of a line is there if no path took it, or that of an end further up. So any path can
/// be traced again alone. After a change of the lines the paths near it are traced again, last end first, then those
/// near the pixels that these newly take or release (AffectedPaths). Before the first stale pixel of a path nothing
/// that it read has changed: it is traced again from there on only.
///
/// Invariants, outside of Update, once it has processed the skeleton's changes:
/// 1. The line pixels, remaining or taken, are those of the skeleton.
/// 2. Every end of the skeleton has a path, and no other pixel has.
/// 3. A path consists of the pixels that are taken by its end.
/// 4. Nothing is stale, queued, released or collected.
class BranchPaths {
public:
    using Word = ColumnGrid::Word;

    /// Borrows the skeleton, of an image of this size, for its lifetime. Branches longer than `limitPx` are marked.
    BranchPaths(const IncrementalSkeleton& skeleton, int width, int height, int limitPx);

    /// To be called after every update of the skeleton.
    void Update();

    /// The pixels of lines that no path took, in row y from column 64 * column on.
    Word LinesLeftIn(int column, int y) const { return lines_[grid_.WordAt(column * 64, y)].remaining; }

    /// Marks long branches among some ends, as BranchMarks does. No path of another end may reach the lines of these.
    template <typename Tiles, typename IsWanted>
    MarkedBranches Marked(const Tiles& tiles, IsWanted isWanted) {
        return marks_.Marked(tiles, isWanted);
    }

    void CheckInvariants() const;

private:
    using Rank = RasterOrder::Rank;

    enum class Keep { Nothing, Beginning };
    /// The first pixels of a path that tracing it again would take again.
    struct Beginning {
        std::int32_t pixels = 0;
        std::size_t size = 0;  // of the codes
        PixelPosition last;
        PixelPosition next;
        bool isAll;
    };

    void RemoveEnds();
    void AddEnds();
    void Queue(Rank end);
    void QueueAffected();
    void FetchPaths();
    void Retrace(PixelPosition end);
    Beginning Release(PixelPosition end, const PathStore::Path& path, Keep keep);
    void QueueAroundChanges(Rank end);

    const IncrementalSkeleton& skeleton_;
    const ColumnGrid grid_;
    const RasterOrder order_;
    LinePixels lines_;
    PathStore paths_;
    PathTracer tracer_;
    AffectedPaths affected_;
    ReleasedPixels released_;  // by the path that is being traced again, or that has gone
    BranchMarks marks_;
    RasterQueue queue_;  // ends whose paths are to be traced again
    // The first ends that were queued: prefetched memory has to stay in the cache until their turn.
    static constexpr std::size_t kMostFetched = 1024;
    std::vector<PixelPosition> toFetch_;
};

}  // namespace level_sweep

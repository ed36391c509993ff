#pragma once

#include <cstddef>
#include <map>
#include <vector>

#include "bits/BitPlane.h"
#include "bits/ZeroedArray.h"
#include "branches/BranchPaths.h"
#include "branches/MarkedBranches.h"
#include "distance/LargestDistance.h"
#include "enclosed/EllipticElement.h"
#include "enclosed/EnclosedArea.h"
#include "network/TouchedNetwork.h"
#include "skeleton/IncrementalSkeleton.h"

namespace level_sweep {

/// Analyses one component after the other: which area do lines of the touched background enclose around it?
///
/// Each pixel of the map is kBackground (0), kTouched (3) or neither (open, or part of an analysed component). The
/// analysis of a component takes these steps, each on what the steps and analyses before have left:
///
///  1. Touch. The ring of the component are the pixels that share a side with it. They are taken in raster order; one
///     that has been flooded already is skipped. From any other one, an 8-connected flood takes the connected pixels of
///     its own value; when that value is kTouched, the kBackground pixels connected with the flooded ones join them.
///     The flooded pixels become kTouched. A touched region behind such background is not flooded itself; the order of
///     the ring decides which floods see merged regions (ComponentFloods.h). The flooded pixels are the *touched
///     background* of this component; without a ring pixel of background it is empty.
///  2. Measure. The largest city-block distance of a pixel of the touched background to the nearest pixel of the map
///     that is not part of it.
///  3. Thin. The touched background alone is thinned to lines one pixel wide; the frame around the map counts as set,
///     so that lines stay attached to the border (ThinningIteration.h has the rule).
///  4. Prune. From each end of a line, last end in raster order first, a path takes pixels away; it continues at the
///     adjacent line pixels whose remaining 3 x 3 neighbourhood is one 8-connected group, so lines on closed loops
///     stay. BranchPaths.h has the rule for the map's border. A branch of more than `longBranchPx` pixels marks its
///     end. Pixels are counted by branch number, which forks can shift: a long branch whose number belongs to no end
///     marks the map's first pixel (BranchMarks.h).
///  5. Fill. The component, grown 4-connected up to the lines that stay, with its holes filled, is the *area*; the
///     pixels around it, across corners too, are its *ring* (EnclosedArea.h). In the candidate map pixels of the area
///     that are on no ring become candidates, and all pixels of the ring become ring.
///  6. Clear. Around each marked end the kTouched pixels within an ellipse, whose axes are the distance of step 2, are
///     kBackground again. Without touched background the distance is 0 and nothing is cleared: a component that touches
///     nothing still has its area filled, but leaves the background as it is.
///
/// The order of components matters, which is why the caller passes them in raster order of their first pixels:
///  - What one analysis makes kTouched or clears, the next one floods with other values and may reach further.
///  - Background that an erased component leaves is there for the components after it only.
///  - A later ring covers earlier candidates; a later area never covers an earlier ring.
///
/// The map's background only grows; whatever is known of it is maintained incrementally from analysis to analysis.
class EnclosedRegionAnalysis {
public:
    /// `background`: the pixels that are kBackground at first.
    EnclosedRegionAnalysis(const BitPlane& background, int longBranchPx);

    /// `component`: one 4-connected component in raster order, of pixels that are neither kBackground nor kTouched.
    void Analyse(const std::vector<WordPixels<BitGrid>>& component);

    /// The candidates, and the pixels of rings, in row y from column 64 * column on.
    Word CandidatesIn(int column, int y) const { return candidates_[WordAt(column, y)]; }
    Word RingsIn(int column, int y) const { return rings_[WordAt(column, y)]; }

    /// Receives every pixel that the owner made kBackground.
    void BackgroundAdded(int x, int y) { touched_.BackgroundAdded(x, y); }
    void BackgroundAdded(const WordPixels<BitGrid>& part) { touched_.BackgroundAdded(part); }

    /// Calls cleared(column, y, pixels) for pixels that were kTouched at the last call and are kBackground now, in row
    /// y from column 64 * column on.
    template <typename Cleared>
    void TakeCleared(Cleared cleared) {
        touched_.TakeCleared(cleared);
    }

    /// The pixels that are kBackground, and those that are kTouched, in row y from column 64 * column on.
    Word BackgroundIn(int column, int y) const { return touched_.BackgroundIn(column, y); }
    Word TouchedIn(int column, int y) const { return touched_.TouchedIn(column, y); }
    /// Whether a pixel of the 3 x 3 neighbourhood of (x, y) is kBackground.
    bool IsBackgroundAround(int x, int y) const { return touched_.IsBackgroundAround(x, y); }

    /// Asserts that no pixel is candidate and ring, or background and touched, and the invariants of all structures.
    /// Cost: several floods of the map; nothing without KORVANE_ASSERTIONS.
    void CheckInvariants() const;

private:
    std::size_t WordAt(int column, int y) const { return enclosed_.Grid().WordAt(WordPosition{column, y}); }
    void UpdateSkeleton();
    MarkedBranches MarkBranches();
    int LargestDistanceOfFlooded();
    void MarkCandidates(const std::vector<WordPixels<BitGrid>>& component);
    void ClearAround(const MarkedBranches& branches, int size);
    const std::vector<PixelRun>& Ellipse(int size);

    int width_;
    int height_;
    TouchedNetwork touched_;
    // Both of the same set: the known pixels of touched_.
    IncrementalSkeleton skeleton_;
    LargestDistance distance_;
    std::vector<LargestDistance::Part> parts_;
    BranchPaths paths_;
    EnclosedArea enclosed_;
    // By words of the grid of enclosed_.
    ZeroedArray<Word> candidates_;
    ZeroedArray<Word> rings_;
    std::map<int, std::vector<PixelRun>> ellipses_;
};

}  // namespace level_sweep

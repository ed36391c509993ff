#pragma once

#include <map>
#include <vector>

#include "branches/MarkedBranches.h"
#include "branches/BranchPaths.h"
#include "enclosed/EllipticElement.h"
#include "enclosed/EnclosedArea.h"
#include "distance/LargestDistance.h"
#include "skeleton/IncrementalSkeleton.h"
#include "network/TouchedNetwork.h"
#include "bits/ZeroedArray.h"

namespace level_sweep {

/// The enclosed-region analysis (EnclosedRegion.h tells what it does) for one component after the other of a map whose
/// background grows from analysis to analysis: what the last ones found out about the background is kept and brought up
/// to date, not worked out again.
///
/// A component is next to background only; what was background once stays background.
class EnclosedRegionAnalysis {
public:
    /// `background`: the pixels of the component map that are kBackground at first.
    EnclosedRegionAnalysis(const BitPlane& background, int longBranchPx);

    /// Pixels of the candidate map in row y from column 64 * column on: those that are kCandidate, and those that are
    /// kRing; all others are kFree.
    BitGrid::Word CandidatesIn(int column, int y) const { return candidates_[enclosed_.Grid().WordAt(column * 64, y)]; }
    BitGrid::Word RingsIn(int column, int y) const { return rings_[enclosed_.Grid().WordAt(column * 64, y)]; }

    /// `component`: one 4-connected component, in raster order.
    void Analyse(const std::vector<WordPart>& component);

    /// Calls cleared(column, y, pixels) for what was kTouched at the last call and is kBackground now, in row y from
    /// column 64 * column on.
    template <typename Cleared>
    void TakeCleared(Cleared cleared) {
        touched_.TakeCleared(cleared);
    }

    /// To be told of every pixel of the component map that its owner made kBackground.
    void BackgroundAdded(int x, int y) { touched_.BackgroundAdded(x, y); }
    void BackgroundAdded(const WordPart& part) { touched_.BackgroundAdded(part); }

    /// The pixels that are kBackground in row y from column 64 * column on.
    BitGrid::Word BackgroundIn(int column, int y) const { return touched_.BackgroundIn(column, y); }
    /// The same for those that are kTouched.
    BitGrid::Word TouchedIn(int column, int y) const { return touched_.TouchedIn(column, y); }
    /// Whether one of the nine pixels around (x, y) is kBackground.
    bool IsBackgroundAround(int x, int y) const { return touched_.IsBackgroundAround(x, y); }

    /// Those of all that is kept between analyses.
    void CheckInvariants() const;

private:
    void UpdateSkeleton();
    MarkedBranches MarkBranches();
    int LargestDistanceOfVisited();
    void MarkCandidates(const std::vector<WordPart>& component);
    void ClearAround(const MarkedBranches& branches, int size);
    const std::vector<RowSpan>& Ellipse(int size);

    int width_;
    int height_;
    TouchedNetwork touched_;
    // The set whose skeleton and distances are kept: what touched_ calls known.
    IncrementalSkeleton skeleton_;
    LargestDistance distance_;
    std::vector<LargestDistance::Part> parts_;
    BranchPaths traces_;
    EnclosedArea enclosed_;
    // By words of the grid of what is enclosed.
    ZeroedArray<BitGrid::Word> candidates_;
    ZeroedArray<BitGrid::Word> rings_;
    std::map<int, std::vector<RowSpan>> ellipses_;
};

}  // namespace level_sweep

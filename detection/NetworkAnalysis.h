#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "BranchPruning.h"
#include "BranchTraces.h"
#include "CodePlane.h"
#include "NetworkDistance.h"
#include "NetworkSkeleton.h"
#include "TouchedNetwork.h"
#include "ZeroedArray.h"

namespace Korvane {

/// The enclosed-region analysis (EnclosedRegion.h tells what it does) for one component after the other of a map whose
/// background grows from analysis to analysis: what the last ones found out about the background is kept and brought up
/// to date, not worked out again.
///
/// Borrows both maps, which have equal sizes and rows without gaps, for its lifetime. A component is next to background
/// only; what was background once stays background.
class NetworkAnalysis {
public:
    NetworkAnalysis(const CodePlane& components, const CodePlane& candidates, float scale);

    /// `component`: the runs of one 4-connected component, already kAnalysed in the component map; the seed is one of
    /// its pixels. Appends the runs of the component map that became kBackground to `cleared`.
    void Analyse(PixelPosition seed, const std::vector<PixelRun>& component, std::vector<PixelRun>& cleared);

    /// To be told of every pixel of the component map that its owner made kBackground.
    void BackgroundAdded(int x, int y) { touched_.BackgroundAdded(x, y); }
    void BackgroundAdded(const PixelRun& run) { touched_.BackgroundAdded(run); }

private:
    struct RowSpan {
        int dy;
        int dx0;
        int dx1;
    };

    void UpdateSkeleton();
    MarkedBranches MarkBranches();
    int LargestDistance();
    void FillAround(PixelPosition seed);
    bool IsLine(int x, int y) const {
        return *skeleton_.At(x, y) == NetworkSkeleton::kLine && !traces_.IsPruned(x, y) && touched_.IsVisited(x, y);
    }
    void PushFillSeeds(int y, int x0, int x1);
    void FillOutside();
    void MarkCandidates();
    void FindInsideAround(int y);
    void ClearAround(const MarkedBranches& branches, int size, std::vector<PixelRun>& cleared);
    const std::vector<RowSpan>& Ellipse(int size);

    CodePlane components_;
    CodePlane candidates_;
    int limitPx_;
    TouchedNetwork touched_;
    // The set whose skeleton and distances are kept: what touched_ calls known.
    NetworkSkeleton skeleton_;
    NetworkDistance distance_;
    std::vector<NetworkDistance::Part> parts_;
    BranchTraces traces_;
    ZeroedArray<PixelCode> fill_;  // all 0 between analyses
    CodePlane fillPlane_;
    PixelBox fillBox_;
    std::vector<PixelPosition> fillSeeds_;
    std::vector<PixelCode> insideAround_;
    std::vector<PixelRun> scratch_;
    RunFlood flood_;
    std::map<int, std::vector<RowSpan>> ellipses_;
};

}  // namespace Korvane

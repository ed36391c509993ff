#pragma once

#include <cstdint>
#include <vector>

#include "CodePlane.h"

namespace Korvane {

/// The background regions that one component touches, and what touching them does to the component map.
///
/// Background is made of regions (kTouched before) and patches (kBackground), both 8-connected and each as large as it
/// can be. Pixels around the component are looked at in raster order, and what is visited is passed over. A patch is
/// visited alone; a region is visited with all patches next to it. Each visit also leaves its trace in the map: a
/// visited patch joins the regions around it to one cluster, and whenever a region is met, all patches next to its
/// whole cluster are turned to kTouched, whether they are visited or not. A patch turned by one visit is passed through
/// by later ones only.
///
///     region A ## patch . region B        a component that meets A visits A and the patch; B stays unvisited.
///     ###### .... ####### ::: patch C     one that meets B afterwards finds A and B in one cluster: C is turned.
///
/// Between Touch and Settle the map holds codes of this class's own on all of that background.
class TouchedNetwork {
public:
    /// Borrows the map, rows without gaps, for its lifetime.
    explicit TouchedNetwork(const CodePlane& map);

    /// `component`: the runs of one component, already kAnalysed, next to background only.
    /// Cost: proportional to what is visited or turned.
    void Touch(const std::vector<PixelRun>& component);
    /// What was visited, and the part of it that was patches.
    const std::vector<PixelRun>& Visited() const { return visited_; }
    const std::vector<PixelRun>& VisitedPatches() const { return visitedPatches_; }
    bool IsVisited(int x, int y) const {
        const PixelCode code = map_.At(x, y);
        return code == kVisitedRegion || code == kVisitedPatch;
    }
    /// Gives kTouched to all that was visited or turned.
    void Settle();

private:
    static constexpr PixelCode kVisitedRegion = 4;
    static constexpr PixelCode kVisitedPatch = 5;
    static constexpr PixelCode kTurnedPatch = 6;
    static constexpr PixelCode kPassedRegion = 7;  // met on the way through its cluster, not visited

    struct Patch {
        std::int32_t cluster;  // forest over patches; a root stands for itself
        std::size_t firstRun;
        std::size_t lastRun;
    };
    struct Position {
        int x;
        int y;
    };

    void FindRing(const std::vector<PixelRun>& component);
    void Visit(Position at);
    void FloodRegion(Position at, PixelCode code, PixelCode patchCode);
    void LookAlong(int y, int x0, int x1, PixelCode from, PixelCode patchCode);
    void MeetPatch(Position at, PixelCode patchCode);
    std::int32_t FloodPatch(Position at, PixelCode code);
    void PassThroughCluster(std::size_t patchesBefore);
    void PassThrough(const Patch& patch);
    std::int32_t ClusterOf(std::int32_t patch);
    std::size_t Index(Position at) const {
        return static_cast<std::size_t>(at.y) * static_cast<std::size_t>(map_.width) + static_cast<std::size_t>(at.x);
    }

    CodePlane map_;
    std::vector<std::int32_t> patchAt_;  // number of the patch, on patches of the present analysis
    std::vector<Position> ring_;
    std::vector<PixelRun> visited_;
    std::vector<PixelRun> visitedPatches_;
    std::vector<PixelRun> turned_;
    std::vector<Patch> patches_;
    std::vector<PixelRun> patchRuns_;
    std::vector<std::int32_t> notPassed_;  // patches that nothing has passed through yet
    std::int32_t cluster_ = -1;            // of the region that is being looked at
    std::int32_t lastMet_ = -1;
    std::vector<Position> stack_;
    RunFlood flood_;
};

}  // namespace Korvane

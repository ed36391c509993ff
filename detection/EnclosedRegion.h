#pragma once

#include <vector>

#include "BranchPruning.h"
#include "CodePlane.h"
#include "Thinning.h"

namespace Korvane {

// Codes of the component map.
inline constexpr PixelCode kBackground = 0;
inline constexpr PixelCode kOpen = 1;
inline constexpr PixelCode kAnalysed = 2;
inline constexpr PixelCode kTouched = 3;
// Codes of the candidate map; 0 is a pixel that may still become a candidate, any other code one that may not.
inline constexpr PixelCode kFree = 0;
inline constexpr PixelCode kCandidate = 2;
inline constexpr PixelCode kRing = 3;

/// Analyses components of the component map one after the other: finds the background regions that touch a component,
/// thins them, prunes the open lines, and makes what the remaining lines enclose around the component a candidate with
/// a ring around it. Works on the box of what is touched, never on the whole map, except where a fill runs out of it.
///
/// Takes any map of codes and keeps nothing that speeds up the next analysis; NetworkAnalysis.h does the same for the
/// maps of candidate detection.
///
/// Borrows both maps, which have equal sizes and hold the codes above, for its lifetime. After anything but Analyse
/// has changed the component map, ComponentChanged must be told.
class EnclosedRegionAnalysis {
public:
    EnclosedRegionAnalysis(const CodePlane& components, const CodePlane& candidates, float scale);

    /// `component` is one 4-connected component, its runs, already kAnalysed in the component map; the seed is one of
    /// its pixels. Appends the runs of the component map that became kBackground to `cleared`.
    void Analyse(PixelPosition seed, const std::vector<PixelRun>& component, std::vector<PixelRun>& cleared);

    void ComponentChanged(const std::vector<PixelRun>& runs);

private:
    /// Rectangle of the map in which one analysis happens, with one more pixel on every side.
    struct Crop {
        PixelBox box;
        CodePlane plane;
    };

    PixelBox MarkComponent(PixelPosition seed);
    void TouchRegions(const PixelBox& componentBox);
    void TouchRegion(int x, int y);
    bool IsRingPixel(int x, int y) const;
    void MakeCrop(const PixelBox& componentBox);
    void SetFrame(PixelCode beyondMap);
    int LargestDistance() const;
    void FillAround(PixelPosition seed);
    void MarkCandidates();
    void MarkCandidatesOutside();
    void MarkFreeRun(int y, int x0, int x1);
    void ClearAround(const MarkedBranches& branches, int size, std::vector<PixelRun>& cleared);
    void ClearTouched(int y, int x0, int x1, std::vector<PixelRun>& cleared);

    CodePlane components_;
    CodePlane candidates_;
    int limitPx_;
    std::vector<PixelCode> work_;  // equals the component map between analyses
    CodePlane workPlane_;
    std::vector<int> freeFrom_;  // per row: no kFree candidate pixel before, or after, these columns
    std::vector<int> freeTo_;
    RunFlood flood_;
    Thinning thinning_;
    Crop crop_;
    std::vector<PixelCode> cropData_;
    std::vector<PixelRun> component_;
    std::vector<PixelRun> touched_;
    std::vector<PixelRun> rewritten_;
    std::vector<PixelRun> scratch_;
    std::vector<std::ptrdiff_t> pixels_;
};

}  // namespace Korvane

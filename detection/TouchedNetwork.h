#pragma once

#include <cstdint>
#include <vector>

#include "BitGrid.h"
#include "CodePlane.h"
#include "ZeroedArray.h"

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
/// Regions are flooded in words of 64 pixels and are not written to; patches, which are small, pixel by pixel. Between
/// Touch and Settle the map holds codes of this class's own on the patches that were visited or turned.
class TouchedNetwork {
public:
    /// Borrows the map, rows without gaps, for its lifetime.
    explicit TouchedNetwork(const CodePlane& map);

    /// To be told of every pixel that became kBackground, but for those that Clear makes so.
    void BackgroundAdded(int x, int y) { At(words_.WordAt(x, y)).patch |= BitGrid::Bit(x); }
    void BackgroundAdded(const PixelRun& run);

    /// `component`: the runs of one component, already kAnalysed, next to background only.
    /// Cost: proportional to the words with pixels that are visited, passed through or turned.
    void Touch(const std::vector<PixelRun>& component);

    /// What was visited: a bit per pixel, the words that are not 0, and the part of it that was patches.
    const BitGrid& Grid() const { return words_; }
    bool IsVisited(int x, int y) const { return (VisitedIn(words_.WordAt(x, y)) & BitGrid::Bit(x)) != 0; }
    BitGrid::Word VisitedIn(std::int32_t word) const { return states_[static_cast<std::size_t>(word)].visited; }
    const std::vector<std::int32_t>& VisitedWords() const { return visitedWords_; }
    const std::vector<PixelRun>& VisitedPatches() const { return visitedPatches_; }

    /// A set of pixels that belongs to the owner, kept beside what a flood reads anyway.
    BitGrid::Word& KnownIn(std::int32_t word) { return states_[static_cast<std::size_t>(word)].known; }
    /// The words with visited pixels that were not known when they were visited; a word may come more than once.
    const std::vector<std::int32_t>& WordsWithUnknown() const { return wordsWithUnknown_; }

    /// Gives kTouched to all that was visited or turned; nothing is visited any more.
    void Settle();

    /// Makes a run of kTouched kBackground again.
    void Clear(const PixelRun& run);

private:
    using Word = BitGrid::Word;
    static constexpr PixelCode kVisitedPatch = 4;
    static constexpr PixelCode kTurnedPatch = 5;

    /// 64 pixels of a row, a bit each.
    struct WordState {
        Word region;   // kTouched
        Word patch;    // kBackground, or a patch's code of the present analysis
        Word visited;  // regions and patches
        Word passed;   // regions met on the way through their cluster
        Word seeds;    // of the flood; 0 between floods
        Word known;    // the owner's
    };
    struct Patch {
        std::int32_t cluster;  // forest over patches; a root stands for itself
        std::size_t firstRun;
        std::size_t lastRun;
    };
    struct Position {
        int x;
        int y;
    };
    enum class Reach { kVisit, kPass };

    void FindRing(const std::vector<PixelRun>& component);
    void Visit(Position at);
    void FloodRegion(Position at, Reach reach);
    void FloodWord(std::int32_t word);
    void LookAt(std::int32_t word, Word bits);
    void MeetPatch(Position at);
    std::int32_t FloodPatch(Position at, PixelCode code);
    void MarkVisited(const PixelRun& run);
    void PassThroughCluster(std::size_t patchesBefore);
    void PassThrough(const Patch& patch);
    std::int32_t ClusterOf(std::int32_t patch);
    WordState& At(std::int32_t word) { return states_[static_cast<std::size_t>(word)]; }
    Word NotReached(const WordState& at) const {
        return at.region & ~at.visited & (overPassed_ ? at.passed : ~at.passed);
    }
    std::size_t Index(Position at) const {
        return static_cast<std::size_t>(at.y) * static_cast<std::size_t>(map_.width) + static_cast<std::size_t>(at.x);
    }

    CodePlane map_;
    BitGrid words_;
    ZeroedArray<WordState> states_;
    std::vector<std::int32_t> visitedWords_;
    std::vector<std::int32_t> passedWords_;
    std::vector<std::int32_t> wordsWithUnknown_;
    std::vector<std::int32_t> waiting_;  // words with seeds
    Reach reach_ = Reach::kVisit;
    bool overPassed_ = false;  // the flood goes over what was passed, else over what was not

    ZeroedArray<std::int32_t> patchAt_;  // number of the patch, on patches of the present analysis
    std::vector<Position> ring_;
    std::vector<PixelRun> visitedPatches_;
    std::vector<Patch> patches_;
    std::vector<PixelRun> patchRuns_;
    std::vector<std::int32_t> notPassed_;  // patches that nothing has passed through yet
    std::int32_t cluster_ = -1;            // of the region that is being looked at
    std::int32_t lastMet_ = -1;
    std::vector<PixelRun> refilled_;
    RunFlood flood_;
};

}  // namespace Korvane

#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "bits/ZeroedArray.h"
#include "skeleton/BlockGrid.h"
#include "skeleton/BlockNeighbourhood.h"
#include "skeleton/PixelBlock.h"
#include "skeleton/StepQueue.h"
#include "skeleton/ThinningSteps.h"

namespace level_sweep {

/// A set of pixels that thinning reduces step by step until nothing changes, with the record of all its steps,
/// maintained incrementally as the set changes. A step is an iteration of thinning (ThinningIteration.h). Beyond the
/// image everything counts as set and is never removed.
///
/// Where the set changes, blocks are recomputed in the order of the steps, and blocks around them only where a step
/// comes out different near their border. The result is that of thinning the set anew; the cost is that of the
/// neighbourhood that really changes. A difference from before the update that has not changed in the last step is
/// carried to the next one without recomputing, as long as nothing is removed near it.
///
/// Invariants, outside of Update, once it has processed all changes of the set:
/// 1. For each block and each step, the record is an iteration of thinning applied to the record of the step before.
/// 2. All pixels beyond the image are in the set and remain after each step.
/// 3. No block is queued, and no block notes a difference.
class ThinningHistory {
public:
    using Word = PixelBlock::Word;
    ThinningHistory(int width, int height);

    /// Changes of the set, by words of a BitGrid. They are collected until Update processes them.
    void Add(std::int32_t word, Word pixels) { ChangeSet(word, pixels, ~Word{0}); }
    void Remove(std::int32_t word, Word pixels) { ChangeSet(word, pixels, 0); }

    /// Processes all changes and calls visit(x, y, pixels) for each block of which other pixels remain in the end: its
    /// pixels, the first of them at (x, y), that remain now and did not before or the other way round.
    template <typename Visit>
    void Update(Visit visit);

    /// Calls visit(x, y, remaining) for each block of the image.
    template <typename Visit>
    void ForEachRemaining(Visit visit) const {
        grid_.ForEachBlock([&](std::int32_t block) {
            if (grid_.IsInside(block)) {
                visit(grid_.FirstXOf(block), grid_.FirstRowOf(block),
                      steps_.RemainingAfter(block, steps_.LastStep(block)));
            }
        });
    }

    void CheckInvariants() const;

private:
    /// The part of a block in an update.
    struct State {
        std::int32_t difference;       // index + 1 into differences_; 0 if the block is the same as before
        std::int32_t changedAround;    // the last step in which a difference near the block changed
        std::uint32_t differingSides;  // sides at which the block differs from before
        bool isAtBorder;               // BlockGrid::IsAtBorder
    };
    struct Difference {
        std::int32_t block;
        std::int32_t changed;     // the last step in which `pixels` changed
        std::int32_t nearSince;   // the step in which `near` was computed
        PixelBlock pixels;        // set after the last computed step now but not before the update, or the other way
        BlockNeighbourhood near;  // of the different pixels of this block and around it
    };

    State& StateOf(std::int32_t block) { return states_[static_cast<std::size_t>(block)]; }
    const State& StateOf(std::int32_t block) const { return states_[static_cast<std::size_t>(block)]; }
    Difference& DifferenceOf(const State& state) {
        return differences_[static_cast<std::size_t>(state.difference) - 1];
    }
    const Difference& DifferenceOf(const State& state) const {
        return differences_[static_cast<std::size_t>(state.difference) - 1];
    }

    void ChangeSet(std::int32_t word, Word pixels, Word wanted);
    Difference& NoteDifference(std::int32_t block);
    void ProcessChanges();
    void Queue(std::int32_t block, int step);
    void NotifyAround(std::int32_t block, const PixelBlock& pixels, int step);
    void Recompute(std::int32_t block, int step);
    PixelBlock Thinned(std::int32_t block, int step) const;
    bool CarryDifference(std::int32_t block, int step);
    bool HasRemovedNear(std::int32_t block, int step, const Difference& difference) const;
    void FindNear(std::int32_t block, int step, Difference& difference) const;
    bool Compare(std::int32_t block, int step, const PixelBlock& current, const PixelBlock& remaining);
    bool DiffersAround(std::int32_t block) const;

    BlockGrid grid_;
    ThinningSteps steps_;
    StepQueue queue_;
    ZeroedArray<State> states_;
    std::vector<Difference> differences_;
};

template <typename Visit>
void ThinningHistory::Update(Visit visit) {
    ProcessChanges();
    for (const Difference& difference : differences_) {
        steps_.Tidy(difference.block);
        State& state = StateOf(difference.block);
        state.difference = 0;
        state.differingSides = 0;
        // A difference after the last step is one for good.
        if (AnyOf(difference.pixels) != 0) {
            visit(grid_.FirstXOf(difference.block), grid_.FirstRowOf(difference.block), difference.pixels);
        }
    }
    differences_.clear();
}

}  // namespace level_sweep

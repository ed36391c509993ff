#pragma once

#include <cstdint>

#include "skeleton/BlockGrid.h"
#include "skeleton/PixelBlock.h"
#include "skeleton/StepQueue.h"
#include "skeleton/ThinningDifferences.h"
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
    using State = ThinningDifferences::State;
    using Difference = ThinningDifferences::Difference;

    void ChangeSet(std::int32_t word, Word pixels, Word wanted);
    void ProcessChanges();
    void Queue(std::int32_t block, int step);
    void NotifyAround(std::int32_t block, const PixelBlock& pixels, int step);
    void Recompute(std::int32_t block, int step);
    PixelBlock Thinned(std::int32_t block, int step) const;
    bool CarryDifference(std::int32_t block, int step);
    bool HasRemovedNear(std::int32_t block, int step, const Difference& difference) const;
    bool Compare(std::int32_t block, int step, const PixelBlock& current, const PixelBlock& remaining);

    BlockGrid grid_;
    ThinningSteps steps_;
    StepQueue queue_;
    ThinningDifferences differences_;
};

template <typename Visit>
void ThinningHistory::Update(Visit visit) {
    ProcessChanges();
    for (const Difference& difference : differences_.All()) {
        steps_.Tidy(difference.block);
        // A difference after the last step is one for good.
        if (AnyOf(difference.pixels) != 0) {
            visit(grid_.FirstXOf(difference.block), grid_.FirstRowOf(difference.block), difference.pixels);
        }
    }
    differences_.Clear();
}

}  // namespace level_sweep

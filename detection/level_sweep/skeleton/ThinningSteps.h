#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "bits/ZeroedArray.h"
#include "skeleton/BlockGrid.h"
#include "skeleton/PixelBlock.h"

namespace level_sweep {

/// The record of thinning: for each block the set of pixels, which is step 0, and the pixels that remain after each
/// step of thinning. Steps that take no pixels of a block need not be recorded.
///
/// Invariants, outside of an update of the record:
/// 1. The pixels that remain after a step are among those that remained before it.
/// 2. LastStep is the last step that takes pixels of the block; 0 if none does.
/// 3. The first kAtHand steps are recorded up to LastStep; of later steps those that take pixels, in order.
///
/// Memory per block: 64 bytes for the set and for each of the first kAtHand steps, 8 more, and 72 for each recorded
/// later step. Blocks that are never part of the set cost nothing.
class ThinningSteps {
public:
    explicit ThinningSteps(const BlockGrid& grid);

    PixelBlock& Set(std::int32_t block) { return FirstOf(block)[0]; }

    /// The last step that takes pixels; during an update the last that does now or did before it.
    int LastStep(std::int32_t block) const { return EndOf(block).last; }
    /// The last step of a block and the eight around it.
    int LastStepAround(std::int32_t block) const;

    const PixelBlock& RemainingAfter(std::int32_t block, int step) const {
        const End& end = EndOf(block);
        return step <= kAtHand ? AtHand(end, FirstOf(block), step) : RemainingAfterLater(end, FirstOf(block), step);
    }
    /// The pixels of a block and of its surroundings that remain after a step.
    BlockSurroundings SurroundingsAfter(std::int32_t block, int step) const;

    /// The record of a step, or nullptr if the step is not recorded: it takes nothing.
    PixelBlock* Recorded(std::int32_t block, int step) {
        if (step > kAtHand) {
            return RecordedLater(block, step);
        }
        return step <= LastStep(block) ? &FirstOf(block)[static_cast<std::size_t>(step)] : nullptr;
    }
    /// Records that a step keeps `remaining` of the `current` pixels, which remain before it. During an update of
    /// the record steps are recorded in order.
    void Record(std::int32_t block, int step, const PixelBlock& current, const PixelBlock& remaining);
    /// Drops the records of steps that take nothing any more. Ends an update of a block's record.
    void Tidy(std::int32_t block);

    // The turn of a block reads records scattered over memory, so they are fetched when it is queued. Inlined by force:
    // as a function it would seem to have no effect, and its calls be dropped.
    __attribute__((always_inline)) void FetchAhead(std::int32_t block, int step) const {
        const std::int32_t stride = grid_.Stride();
        for (const std::int32_t middle : {block - stride, block, block + stride}) {
            for (std::int32_t near = middle - 1; near <= middle + 1; ++near) {
                __builtin_prefetch(&FirstOf(near)[static_cast<std::size_t>(std::min(step, kAtHand))]);
            }
        }
    }

    void CheckInvariants() const;

private:
    static constexpr int kAtHand = 7;
    /// The set and the records of the first steps, up to the last that takes pixels.
    using First = std::array<PixelBlock, std::size_t{kAtHand} + 1>;
    struct End {
        std::int32_t last;   // LastStep
        std::int32_t later;  // index + 1 into later_
    };
    struct Later {
        std::int32_t step;
        PixelBlock remaining;
    };

    const End& EndOf(std::int32_t block) const { return ends_[static_cast<std::size_t>(block)]; }
    End& EndOf(std::int32_t block) { return ends_[static_cast<std::size_t>(block)]; }
    const First& FirstOf(std::int32_t block) const { return first_[static_cast<std::size_t>(block)]; }
    First& FirstOf(std::int32_t block) { return first_[static_cast<std::size_t>(block)]; }
    const std::vector<Later>& LaterOf(const End& end) const { return later_[static_cast<std::size_t>(end.later) - 1]; }
    std::vector<Later>& LaterOf(const End& end) { return later_[static_cast<std::size_t>(end.later) - 1]; }

    // For steps up to kAtHand.
    static const PixelBlock& AtHand(const End& end, const First& first, int step) {
        return first[static_cast<std::size_t>(std::min(step, end.last))];
    }
    const PixelBlock& RemainingAfterLater(const End& end, const First& first, int step) const;
    PixelBlock* RecordedLater(std::int32_t block, int step);
    void RecordLater(std::int32_t block, int step, const PixelBlock& current, const PixelBlock& remaining);

    BlockGrid grid_;
    ZeroedArray<End> ends_;
    ZeroedArray<First> first_;
    std::vector<std::vector<Later>> later_;
};

}  // namespace level_sweep

#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "bits/BitGrid.h"
#include "skeleton/BlockNeighbourhood.h"
#include "skeleton/PixelBlock.h"
#include "bits/ZeroedArray.h"

namespace level_sweep {

/// A set of pixels that thinning makes smaller step by step (ThinningIteration.h) until nothing changes any more, with all
/// its steps, kept up while the set itself changes.
///
/// Kept are, for every strip of 64 x 8, the pixels that are left after each step. Where the set changes, strips are
/// worked out again in the order of the steps, and on to strips around only where something comes out different at
/// their border: the result is that of all steps done anew, the cost that of the neighbourhood that really changes. A
/// pixel around which a step has changed nothing stays, and so does what is different from before as long as nothing
/// happens near it. Beyond the picture everything counts as set and never leaves.
///
/// Memory: 64 bytes per strip for the set and for each of the first kAtHand steps, 28 more, and 72 for each later step
/// that takes pixels away from a strip; what is never part of the set costs nothing.
class ThinningHistory {
public:
    using Word = BitGrid::Word;
    ThinningHistory(int width, int height);

    /// Changes of the set, by words of the grid: noted first, then worked in all at once by Update.
    void Add(std::int32_t word, Word pixels) { ChangeSet(word, pixels, ~Word{0}); }
    void Remove(std::int32_t word, Word pixels) { ChangeSet(word, pixels, 0); }

    /// Works all changes in and calls visit(x, y, pixels) for each strip of which something else is left in the end:
    /// its pixels, the first of them at (x, y), that are left now and were not before or the other way.
    template <typename Visit>
    void Update(Visit visit);

private:
    static constexpr int kAtHand = 7;

    struct Head {
        std::int32_t last;       // the last step that takes pixels away; in an update before or now
        std::int32_t queuedFor;  // the step the strip is queued for, 0 if for none, kNever beyond the picture
        std::int32_t changed;    // index + 1 into changed_
        std::int32_t later;      // index + 1 into later_
        std::int32_t told;       // in an update: the step at which what is different beside it has changed last
        std::uint32_t differs;   // in an update: the sides at which something is different from before
        bool isAtBorder;         // has pixels beyond the picture in it or next to it
    };
    static constexpr std::int32_t kNever = -1;
    /// What the set is, and what the first steps leave, up to the last that takes pixels away.
    using Steps = std::array<PixelBlock, std::size_t{kAtHand} + 1>;
    /// What a step leaves that takes pixels away and is not at hand.
    struct Later {
        std::int32_t step;
        PixelBlock left;
    };
    struct Change {
        std::int32_t strip;
        std::int32_t lastBefore;
        std::int32_t lastFresh;  // the step at which `different` has changed last
        std::int32_t nearSince;  // the step at which `near` was found
        PixelBlock different;  // what the step worked out last left and did not leave before the update, or the other way
        BlockNeighbourhood near;  // to what is different
    };

    void WorkChangesIn();
    Head& HeadOf(std::int32_t strip) { return heads_[static_cast<std::size_t>(strip)]; }
    const Head& HeadOf(std::int32_t strip) const { return heads_[static_cast<std::size_t>(strip)]; }
    Steps& StepsOf(std::int32_t strip) { return steps_[static_cast<std::size_t>(strip)]; }
    const Steps& StepsOf(std::int32_t strip) const { return steps_[static_cast<std::size_t>(strip)]; }
    Change& ChangeOf(const Head& head) { return changed_[static_cast<std::size_t>(head.changed) - 1]; }
    const Change& ChangeOf(const Head& head) const { return changed_[static_cast<std::size_t>(head.changed) - 1]; }
    std::vector<Later>& LaterOf(const Head& head) { return later_[static_cast<std::size_t>(head.later) - 1]; }
    const std::vector<Later>& LaterOf(const Head& head) const {
        return later_[static_cast<std::size_t>(head.later) - 1];
    }

    // One strip more on either side of each row, shared by rows that follow each other, and one more row at either end.
    std::int32_t StripAt(int row, int column) const { return (row + 1) * stride_ + column + 1; }
    int RowOf(std::int32_t strip) const { return strip / stride_ - 1; }
    int ColumnOf(std::int32_t strip) const { return strip % stride_ - 1; }
    Word BeyondIn(int column, int y) const;
    PixelBlock Beyond(std::int32_t strip) const;
    BlockSurroundings BeyondAround(std::int32_t strip) const;
    void MakeBeyond(std::int32_t strip);

    const PixelBlock& LeftAfter(std::int32_t strip, int step) const {
        const Head& head = HeadOf(strip);
        return step <= kAtHand ? AtHand(head, StepsOf(strip), step) : LeftAfterLater(head, StepsOf(strip), step);
    }
    // For steps up to kAtHand.
    static const PixelBlock& AtHand(const Head& head, const Steps& steps, int step) {
        return steps[static_cast<std::size_t>(std::min(step, head.last))];
    }
    const PixelBlock& LeftAfterLater(const Head& head, const Steps& steps, int step) const;
    Later* LaterAt(const Head& head, int step);
    PixelBlock LeftBefore(std::int32_t strip, int step, const PixelBlock& current);
    Change& NoteChange(std::int32_t strip);
    void ChangeSet(std::int32_t word, Word pixels, Word wanted);
    void Queue(std::int32_t strip, int step);
    // What a strip's turn will ask for, which is rarely near to what is being worked on, is on its way until then.
    // Inlined by force: as a function it would seem to do nothing, and calls of it be left out.
    __attribute__((always_inline)) void FetchAhead(std::int32_t strip, int step) const {
        for (const std::int32_t middle : {strip - stride_, strip, strip + stride_}) {
            for (std::int32_t near = middle - 1; near <= middle + 1; ++near) {
                __builtin_prefetch(&StepsOf(near)[static_cast<std::size_t>(std::min(step, kAtHand))]);
            }
        }
    }
    void QueueAround(std::int32_t strip, const PixelBlock& pixels, int step);
    void WorkOut(std::int32_t strip, int step);
    PixelBlock FirstColumnOf(std::int32_t strip, int step) const;
    bool GoesOnDiffering(std::int32_t strip, int step);
    bool HasTakenNear(std::int32_t strip, int step, const Change& change) const;
    void FindNear(std::int32_t strip, int step, Change& change) const;
    bool Compare(std::int32_t strip, int step, const PixelBlock& current, const PixelBlock& left);
    void Store(std::int32_t strip, int step, const PixelBlock& current, const PixelBlock& left);
    void StoreLater(std::int32_t strip, int step, const PixelBlock& current, const PixelBlock& left);
    int LastStepAround(std::int32_t strip) const;
    bool DiffersAround(std::int32_t strip) const;
    void Tidy(std::int32_t strip);

    int height_;
    int columns_;
    int rows_;
    int stride_;
    Word beyondLast_;  // bits of the last column's words that are beyond the picture
    ZeroedArray<Head> heads_;
    ZeroedArray<Steps> steps_;
    std::vector<std::vector<Later>> later_;
    std::vector<Change> changed_;
    std::vector<std::vector<std::int32_t>> queue_;  // per step: strips to be worked out, and some that no longer are
    std::vector<std::int32_t> now_;
};

template <typename Visit>
void ThinningHistory::Update(Visit visit) {
    WorkChangesIn();
    for (const Change& change : changed_) {
        Tidy(change.strip);
        // What is different after the last step stays so.
        if (AnyOf(change.different) != 0) {
            visit(ColumnOf(change.strip) * 64, RowOf(change.strip) * kBlockRows, change.different);
        }
    }
    changed_.clear();
}

}  // namespace level_sweep

#include "skeleton/ThinningHistory.h"

#include <algorithm>

#include "Assert.h"
#include "skeleton/BlockSides.h"
#include "skeleton/ThinningIteration.h"

namespace level_sweep {

ThinningHistory::ThinningHistory(int width, int height)
    : grid_(width, height), steps_(grid_), queue_(grid_.Blocks()), differences_(grid_) {
    const auto setBeyond = [&](std::int32_t block) {
        const PixelBlock beyond = grid_.BeyondIn(block);
        if (AnyOf(beyond) != 0) {
            steps_.Set(block) = beyond;
        }
        if (grid_.IsInside(block)) {
            differences_.StateOf(block).isAtBorder = true;
        } else {
            queue_.Exclude(block);
        }
    };
    // The memory of all other blocks stays untouched.
    for (const int row : {-1, 0, grid_.Rows() - 1, grid_.Rows()}) {
        for (int column = -1; column <= grid_.Columns(); ++column) {
            setBeyond(grid_.BlockAt(row, column));
        }
    }
    for (int row = 1; row + 1 < grid_.Rows(); ++row) {
        for (const int column : {-1, 0, grid_.Columns() - 1}) {
            setBeyond(grid_.BlockAt(row, column));
        }
    }
}

void ThinningHistory::ChangeSet(std::int32_t word, Word pixels, Word wanted) {
    const int y = word / grid_.Columns();
    const std::int32_t block = grid_.BlockAt(y / kBlockRows, word - y * grid_.Columns());
    const auto row = static_cast<std::size_t>(y % kBlockRows);
    Word& set = steps_.Set(block)[row];
    const Word different = (set ^ wanted) & pixels;
    if (different != 0) {
        if (!differences_.Has(block)) {
            differences_.FetchAround(block);
            steps_.FetchAhead(block, 0);
        }
        Difference& difference = differences_.Note(block);
        difference.pixels[row] ^= different;
        differences_.UpdateSides(difference);
        set ^= different;
    }
}

// Before the turn of a step all earlier ones are settled.
void ThinningHistory::ProcessChanges() {
    for (std::size_t i = 0; i < differences_.All().size(); ++i) {
        const std::int32_t block = differences_.All()[i].block;
        const PixelBlock pixels = differences_.All()[i].pixels;
        Queue(block, 1);
        NotifyAround(block, pixels, 0);
    }
    queue_.TakeAll([&](std::int32_t block, int step) { Recompute(block, step); });
}

// A block whose turn in the present step is still to come finds out by itself that it has to continue.
void ThinningHistory::Queue(std::int32_t block, int step) {
    if (queue_.Add(block, step)) {
        steps_.FetchAhead(block, step);
    }
}

// Notifies the blocks around one of pixels that have become different in a step, or no longer are, and queues those of
// which pixels near them remain. A difference that stays the same is not notified: blocks that notify each other of it
// would never come to an end.
void ThinningHistory::NotifyAround(std::int32_t block, const PixelBlock& pixels, int step) {
    ForEachBlockNear(pixels, [&](int rows, int columns, auto hasNear) {
        const std::int32_t near = block + rows * grid_.Stride() + columns;
        State& state = differences_.StateOf(near);
        if (hasNear(steps_.RemainingAfter(near, step))) {
            Queue(near, step + 1);
            state.changedAround = step;
        } else if (state.difference != 0) {
            // Pixels that it had before count as well; these are not known where its turn in this step is to come.
            const bool isToCome = queue_.IsQueuedFor(near, step);
            if (isToCome || hasNear(differences_.Of(state).pixels)) {
                state.changedAround = step;
            }
        }
    });
}

// Takes a block through a step. It continues with the next one as long as pixels are removed later in it or around it,
// now or before the update; otherwise it rests.
void ThinningHistory::Recompute(std::int32_t block, int step) {
    if (!CarryDifference(block, step)) {
        const PixelBlock current = steps_.RemainingAfter(block, step - 1);
        if (AnyOf(current) == 0) {
            // Its surroundings no longer matter; only pixels that remained before the update do.
            if (Compare(block, step, current, current) && step < steps_.LastStep(block)) {
                Queue(block, step + 1);
            }
            return;
        }
        if (!Compare(block, step, current, Thinned(block, step)) && !differences_.AnyAround(block)) {
            return;
        }
    }
    if (step < steps_.LastStep(block) || step <= steps_.LastStepAround(block)) {
        Queue(block, step + 1);
    }
}

// Each subiteration of a step decides on a pixel by the pixels up to one away, and removes nothing that the step before
// kept if none of these has changed since. So where the step before removed nothing up to three pixels away from the
// different ones, the first subiteration removes nothing up to two away from them and the second nothing adjacent to
// them: they stay different, and everything else happens as before the update. Returns whether that is so; then it also
// records the step.
bool ThinningHistory::CarryDifference(std::int32_t block, int step) {
    const State& state = differences_.StateOf(block);
    if (state.difference == 0) {
        return false;
    }
    Difference& difference = differences_.Of(state);
    const int changed = std::max(difference.changed, state.changedAround);
    if (step - 2 < changed) {
        return false;
    }
    if (difference.nearSince <= changed) {
        differences_.FindNear(difference, step);
    }
    if (HasRemovedNear(block, step, difference)) {
        return false;
    }
    // Still the record from before the update.
    if (PixelBlock* recorded = steps_.Recorded(block, step)) {
        *recorded = *recorded ^ difference.pixels;
    }
    return true;
}

bool ThinningHistory::HasRemovedNear(std::int32_t block, int step, const Difference& difference) const {
    struct Removed {
        const PixelBlock& before;
        const PixelBlock& after;
        Word operator[](std::size_t row) const { return before[row] ^ after[row]; }
    };
    return difference.near.AnyOf([&](int rows, int columns) {
        const std::int32_t of = block + rows * grid_.Stride() + columns;
        return Removed{steps_.RemainingAfter(of, step - 2), steps_.RemainingAfter(of, step - 1)};
    });
}

// The pixels of a block that remain after a step, computed from those that remain before it.
PixelBlock ThinningHistory::Thinned(std::int32_t block, int step) const {
    BlockSurroundings neighbourhood = steps_.SurroundingsAfter(block, step - 1);
    PixelBlock remaining;
    if (differences_.StateOf(block).isAtBorder) {
        const BlockSurroundings beyond = grid_.BeyondAround(block);
        ThinningIteration::Thin(neighbourhood, &beyond, remaining);
    } else {
        ThinningIteration::Thin(neighbourhood, nullptr, remaining);
    }
    return remaining;
}

// Records a step and notifies the blocks around of pixels that have become different from before the update, or no
// longer are. Returns whether any is different. Before the update, a step that was not recorded removed nothing:
// the pixels then differ from `current` by the present difference.
bool ThinningHistory::Compare(std::int32_t block, int step, const PixelBlock& current, const PixelBlock& remaining) {
    const bool differed = differences_.Has(block);
    const PixelBlock* recorded = steps_.Recorded(block, step);
    const PixelBlock before = recorded != nullptr ? *recorded
                              : differed          ? current ^ differences_.Of(differences_.StateOf(block)).pixels
                                                  : current;
    const PixelBlock pixels = remaining ^ before;
    const Word any = AnyOf(pixels);
    if (any == 0 && !differed) {
        return false;
    }
    Difference& difference = differences_.Note(block);
    steps_.Record(block, step, current, remaining);
    const PixelBlock changed = pixels ^ difference.pixels;
    if (AnyOf(changed) != 0) {
        difference.pixels = pixels;
        difference.changed = step;
        differences_.UpdateSides(difference);
        NotifyAround(block, changed, step);
    }
    return any != 0;
}

void ThinningHistory::CheckInvariants() const {
    steps_.CheckInvariants();
    KORVANE_ASSERT(differences_.All().empty());  // 3
    int last = 0;
    grid_.ForEachBlock([&](std::int32_t block) { last = std::max(last, steps_.LastStep(block)); });
    grid_.ForEachBlock([&](std::int32_t block) {
        const State& state = differences_.StateOf(block);
        KORVANE_ASSERT(state.difference == 0 && state.differingSides == 0);  // 3
        KORVANE_ASSERT(!queue_.IsWaiting(block));                            // 3
        const PixelBlock beyond = grid_.BeyondIn(block);
        for (std::size_t i = 0; i < beyond.rows.size(); ++i) {
            KORVANE_ASSERT((beyond[i] & ~steps_.RemainingAfter(block, last)[i]) == 0);  // 2
        }
        if (!grid_.IsInside(block)) {
            KORVANE_ASSERT(steps_.LastStep(block) == 0);  // 2
            return;
        }
        KORVANE_ASSERT(state.isAtBorder == grid_.IsAtBorder(block));
        for (int step = 1; step <= last + 1; ++step) {
            KORVANE_ASSERT(steps_.RemainingAfter(block, step) == Thinned(block, step));  // 1
        }
    });
}

}  // namespace level_sweep

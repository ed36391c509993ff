#include "skeleton/ThinningSteps.h"

#include "Assert.h"

namespace level_sweep {

ThinningSteps::ThinningSteps(const BlockGrid& grid) : grid_(grid), ends_(grid.Blocks()), first_(grid.Blocks()) {}

int ThinningSteps::LastStepAround(std::int32_t block) const {
    int last = 0;
    for (const End* end : {&EndOf(block - grid_.Stride()), &EndOf(block), &EndOf(block + grid_.Stride())}) {
        last = std::max({last, end[-1].last, end[0].last, end[1].last});
    }
    return last;
}

const PixelBlock& ThinningSteps::RemainingAfterLater(const End& end, const First& first, int step) const {
    if (end.last > kAtHand) {
        const std::vector<Later>& later = LaterOf(end);
        const auto after = std::upper_bound(later.begin(), later.end(), step,
                                            [](int wanted, const Later& recorded) { return wanted < recorded.step; });
        if (after != later.begin()) {
            return (after - 1)->remaining;
        }
    }
    return AtHand(end, first, kAtHand);
}

BlockSurroundings ThinningSteps::SurroundingsAfter(std::int32_t block, int step) const {
    const std::int32_t north = block - grid_.Stride();
    const std::int32_t south = block + grid_.Stride();
    const std::array<const End*, 3> ends{&EndOf(north), &EndOf(block), &EndOf(south)};
    const std::array<const First*, 3> first{&FirstOf(north), &FirstOf(block), &FirstOf(south)};
    BlockSurroundings around;
    if (step <= kAtHand) {
        around.Gather([&](std::ptrdiff_t rows, std::ptrdiff_t columns) -> const PixelBlock& {
            const auto row = static_cast<std::size_t>(rows + 1);
            return AtHand(ends[row][columns], first[row][columns], step);
        });
    } else {
        around.Gather([&](std::ptrdiff_t rows, std::ptrdiff_t columns) -> const PixelBlock& {
            const auto row = static_cast<std::size_t>(rows + 1);
            return RemainingAfterLater(ends[row][columns], first[row][columns], step);
        });
    }
    return around;
}

PixelBlock* ThinningSteps::RecordedLater(std::int32_t block, int step) {
    const End& end = EndOf(block);
    if (end.later == 0) {
        return nullptr;
    }
    std::vector<Later>& later = LaterOf(end);
    const auto found = std::lower_bound(later.begin(), later.end(), step,
                                        [](const Later& recorded, int wanted) { return recorded.step < wanted; });
    return found != later.end() && found->step == step ? &found->remaining : nullptr;
}

void ThinningSteps::Record(std::int32_t block, int step, const PixelBlock& current, const PixelBlock& remaining) {
    if (step > kAtHand) {
        RecordLater(block, step, current, remaining);
        return;
    }
    End& end = EndOf(block);
    First& first = FirstOf(block);
    if (step > end.last) {
        if (remaining == current) {
            return;
        }
        std::fill(first.begin() + end.last + 1, first.begin() + step, first[static_cast<std::size_t>(end.last)]);
        end.last = step;
    }
    first[static_cast<std::size_t>(step)] = remaining;
}

void ThinningSteps::RecordLater(std::int32_t block, int step, const PixelBlock& current, const PixelBlock& remaining) {
    if (PixelBlock* recorded = RecordedLater(block, step)) {
        *recorded = remaining;
        return;
    }
    if (remaining == current) {
        return;
    }
    End& end = EndOf(block);
    if (end.last < kAtHand) {
        First& first = FirstOf(block);
        std::fill(first.begin() + end.last + 1, first.end(), first[static_cast<std::size_t>(end.last)]);
    }
    if (end.later == 0) {
        later_.emplace_back();
        end.later = static_cast<std::int32_t>(later_.size());
    }
    std::vector<Later>& later = LaterOf(end);
    const auto after = std::upper_bound(later.begin(), later.end(), step,
                                        [](int wanted, const Later& recorded) { return wanted < recorded.step; });
    later.insert(after, {step, remaining});
    end.last = std::max(end.last, step);
}

void ThinningSteps::Tidy(std::int32_t block) {
    End& end = EndOf(block);
    const First& first = FirstOf(block);
    const int atHand = std::min(end.last, kAtHand);
    if (end.later != 0) {
        std::vector<Later>& later = LaterOf(end);
        const PixelBlock* before = &first[static_cast<std::size_t>(atHand)];
        std::size_t kept = 0;
        for (const Later& recorded : later) {
            if (!(recorded.remaining == *before)) {
                later[kept] = recorded;
                before = &later[kept].remaining;
                ++kept;
            }
        }
        later.resize(kept);
        if (kept > 0) {
            end.last = later.back().step;
            return;
        }
    }
    end.last = atHand;
    while (end.last > 0 && first[static_cast<std::size_t>(end.last)] == first[static_cast<std::size_t>(end.last) - 1]) {
        --end.last;
    }
}

void ThinningSteps::CheckInvariants() const {
    const auto isPart = [](const PixelBlock& part, const PixelBlock& whole) {
        PixelBlock::Word outside = 0;
        for (std::size_t i = 0; i < part.rows.size(); ++i) {
            outside |= part[i] & ~whole[i];
        }
        return outside == 0;
    };
    grid_.ForEachBlock([&](std::int32_t block) {
        const End& end = EndOf(block);
        const PixelBlock* before = &FirstOf(block)[0];
        for (int step = 1; step <= std::min(end.last, kAtHand); ++step) {
            const PixelBlock* remaining = &FirstOf(block)[static_cast<std::size_t>(step)];
            KORVANE_ASSERT(isPart(*remaining, *before));                  // 1
            KORVANE_ASSERT(step < end.last || !(*remaining == *before));  // 2
            before = remaining;
        }
        int last = kAtHand;
        if (end.later != 0) {
            for (const Later& later : LaterOf(end)) {
                KORVANE_ASSERT(later.step > last);                 // 3
                KORVANE_ASSERT(isPart(later.remaining, *before));  // 1
                KORVANE_ASSERT(!(later.remaining == *before));     // 3
                last = later.step;
                before = &later.remaining;
            }
        }
        KORVANE_ASSERT(last == kAtHand ? end.last <= kAtHand : end.last == last);  // 2
    });
}

}  // namespace level_sweep

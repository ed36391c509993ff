#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "BitGrid.h"
#include "ZeroedArray.h"

namespace Korvane {

/// The pixels of a word of a BitGrid and what lies around each of them: bit x of `west` is the pixel at x - 1.
struct WordNeighbourhood {
    using Word = BitGrid::Word;
    Word northWest, north, northEast;
    Word west, centre, east;
    Word southWest, south, southEast;
};

/// A set of pixels that a rule makes smaller step by step until nothing changes any more, with all its steps, kept up
/// while the set itself changes.
///
/// Kept are, for every word, the pixels that are left after each step. Where the set changes, words are worked out
/// again in the order of the steps, 64 pixels at a time, and on to words around only where something came out
/// different: the result is that of all steps done anew, the cost that of the neighbourhood that really changes. Beyond
/// the picture everything counts as set and never leaves.
///
/// `Rule` has `static Word Left(const WordNeighbourhood&, int step)`, the pixels of `centre` that a step from 1 on
/// leaves, and `kPeriod`: after that many steps the rule begins again. A pixel around which nothing has changed for a
/// period stays. `kStepsAtHand` is how many steps, with the set itself, have room beside each other.
///
/// Memory: 64 or 128 bytes per word, and 16 for each step that takes pixels away from a word and is not among the first
/// `kStepsAtHand`; there are at most as many as pixels.
template <typename Rule>
class ShrinkingSet {
public:
    using Word = BitGrid::Word;
    ShrinkingSet(int width, int height)
        : grid_(width, height),
          height_(height),
          lastColumn_(grid_.WordsPerRow() - 1),
          beyondLast_(width % 64 == 0 ? 0 : ~Word{0} << (width % 64)),
          states_(grid_.Words()) {}

    const BitGrid& Grid() const { return grid_; }

    /// Changes of the set: noted first, then worked in all at once by Update.
    void Add(std::int32_t word, Word pixels) { ChangeSet(word, pixels & ~At(word).steps[0]); }
    void Remove(std::int32_t word, Word pixels) { ChangeSet(word, pixels & At(word).steps[0]); }

    /// Works all changes in and calls visit(word, leftBefore, lastStepBefore) for each word of which a step changed.
    template <typename Visit>
    void Update(Visit visit) {
        for (std::size_t i = 0; i < changed_.size(); ++i) {
            const Change change = changed_[i];
            Queue(change.word, 1);
            QueueAround(change.word, change.different, 0);
        }
        for (int step = 1; step < static_cast<int>(queue_.size()); ++step) {
            // What is queued meanwhile is queued for later steps.
            std::vector<std::int32_t>& words = queue_[static_cast<std::size_t>(step)];
            now_.swap(words);
            for (const std::int32_t word : now_) {
                if (At(word).queuedFor == step) {
                    WorkOut(word, step);
                }
            }
            now_.clear();
        }
        for (const Change& change : changed_) {
            Tidy(At(change.word));
            visit(change.word, change.left, change.lastStep);
        }
        changed_.clear();
    }

    /// What is left in the end.
    Word Left(std::int32_t word) const { return LeftAfter(At(word), kLast); }
    /// What is left after a step; 0 gives the set.
    Word LeftAfter(std::int32_t word, int step) const { return LeftAfter(At(word), step); }
    /// The last step that took a pixel of the word away; 0 where none did.
    int LastStep(std::int32_t word) const { return At(word).lastStep; }

private:
    static constexpr int kLast = INT32_MAX;
    static constexpr std::size_t kInline = Rule::kStepsAtHand;
    /// From this step on steps are not told apart in a mask: it stands for all that follow.
    static constexpr int kLastInMask = 31;

    /// Whole cache lines, and the first of them is enough for most.
    struct State {
        std::uint32_t takingSteps;        // a bit for each step that takes pixels away; in an update before or now
        std::int32_t lastStep;            // the last of them
        std::int32_t queuedFor;           // the step the word is queued for, or 0
        std::int32_t changed;             // index + 1 into changed_
        std::int64_t later;               // index + 1 into later_
        std::array<Word, kInline> steps;  // what the set is, and what the first steps leave
    };
    struct Later {
        std::int32_t step;
        Word left;
    };
    /// What a word was before the update.
    struct Change {
        std::int32_t word;
        std::int32_t lastStep;
        Word left;
        Word different;  // pixels that the step worked out last left and did not leave before, or the other way round
    };

    State& At(std::int32_t word) { return states_[static_cast<std::size_t>(word)]; }
    const State& At(std::int32_t word) const { return states_[static_cast<std::size_t>(word)]; }
    std::vector<Later>& LaterOf(State& at) {
        if (at.later == 0) {
            later_.emplace_back();
            at.later = static_cast<std::int64_t>(later_.size());
        }
        return later_[static_cast<std::size_t>(at.later) - 1];
    }

    Word LeftAfter(const State& at, int step) const {
        if (static_cast<std::size_t>(step) < kInline) {
            return at.steps[static_cast<std::size_t>(step)];
        }
        return at.later == 0 ? at.steps.back() : LeftAfterLater(at, step);
    }

    Word LeftAfterLater(const State& at, int step) const {
        const std::vector<Later>& later = later_[static_cast<std::size_t>(at.later) - 1];
        const auto after = std::upper_bound(later.begin(), later.end(), step,
                                            [](int wanted, const Later& there) { return wanted < there.step; });
        return after == later.begin() ? at.steps.back() : (after - 1)->left;
    }

    // What a step that is being worked out left before the update: what differed after the step before still does, but
    // for what the step took away. Steps that took nothing may have been passed over.
    Word LeftBefore(const State& at, int step, Word current) const {
        if (at.changed == 0 || TookBefore(at, step)) {
            return LeftAfter(at, step);
        }
        return current ^ changed_[static_cast<std::size_t>(at.changed) - 1].different;
    }

    bool TookBefore(const State& at, int step) const {
        if (step < kLastInMask) {
            return (at.takingSteps >> step & 1u) != 0;
        }
        if (at.later == 0) {
            return false;
        }
        const std::vector<Later>& later = later_[static_cast<std::size_t>(at.later) - 1];
        const auto there = std::lower_bound(later.begin(), later.end(), step, IsEarlier);
        return there != later.end() && there->step == step;
    }

    Change& NoteChange(std::int32_t word, State& at) {
        if (at.changed == 0) {
            changed_.push_back({word, at.lastStep, LeftAfter(at, kLast), 0});
            at.changed = static_cast<std::int32_t>(changed_.size());
        }
        return changed_[static_cast<std::size_t>(at.changed) - 1];
    }

    void ChangeSet(std::int32_t word, Word pixels) {
        if (pixels != 0) {
            State& at = At(word);
            NoteChange(word, at).different ^= pixels;
            at.steps[0] ^= pixels;
        }
    }

    void Queue(std::int32_t word, int step) {
        State& at = At(word);
        // A word whose turn in the present step is still to come finds out by itself that it has to go on.
        if (at.queuedFor != 0 && at.queuedFor <= step) {
            return;
        }
        at.queuedFor = step;
        if (queue_.size() <= static_cast<std::size_t>(step)) {
            queue_.resize(static_cast<std::size_t>(step) + 1);
        }
        queue_[static_cast<std::size_t>(step)].push_back(word);
    }

    // Words with something left next to given pixels of another.
    void QueueAround(std::int32_t word, Word pixels, int step) {
        const int wordsPerRow = grid_.WordsPerRow();
        const int y = word / wordsPerRow;
        const int column = word - y * wordsPerRow;
        const Word beside = pixels | pixels << 1 | pixels >> 1;
        const auto queue = [&](std::int32_t near, Word wanted) {
            if ((LeftAfter(At(near), step) & wanted) != 0) {
                Queue(near, step + 1);
            }
        };
        for (int v = std::max(y - 1, 0); v <= std::min(y + 1, height_ - 1); ++v) {
            const std::int32_t near = v * wordsPerRow + column;
            if (v != y) {
                queue(near, beside);
            }
            if ((pixels >> 63) != 0 && column < lastColumn_) {
                queue(near + 1, 1);
            }
            if ((pixels & 1u) != 0 && column > 0) {
                queue(near - 1, Word{1} << 63);
            }
        }
    }

    void WorkOut(std::int32_t word, int step) {
        State& at = At(word);
        at.queuedFor = 0;
        const Word current = LeftAfter(at, step - 1);
        const Word before = LeftBefore(at, step, current);
        std::uint32_t takingAround = 1;  // the set itself may have changed
        const WordNeighbourhood around = Around(word, step - 1, takingAround);
        const Word left = current != 0 ? Rule::Left(around, step) & current : 0;
        if (left != LeftAfter(at, step)) {
            NoteChange(word, at);
            Set(at, step, left);
        }
        if (left != current) {
            at.lastStep = std::max(at.lastStep, step);
            at.takingSteps |= 1u << std::min(step, int{kLastInMask});
            takingAround |= at.takingSteps;
        }
        TellAround(word, at, left ^ before, step);
        const int next = NextStep(word, takingAround, step);
        if (next != 0) {
            Queue(word, next);
        }
        // Until then the word stays as it is.
        const std::size_t until = next == 0 ? kInline : std::min(static_cast<std::size_t>(next), kInline);
        for (std::size_t later = static_cast<std::size_t>(step) + 1; later < until; ++later) {
            at.steps[later] = left;
        }
    }

    // A difference that stays is told once: who has to do with it goes on as long as anything happens around.
    void TellAround(std::int32_t word, const State& at, Word different, int step) {
        if (at.changed == 0) {
            return;
        }
        Change& change = changed_[static_cast<std::size_t>(at.changed) - 1];
        const Word fresh = change.different ^ different;
        change.different = different;
        if (fresh != 0) {
            QueueAround(word, fresh, step);
        }
    }

    // When something can happen to a word again: when something did before, and for a period after something has
    // happened around.
    int NextStep(std::int32_t word, std::uint32_t takingAround, int step) const {
        if (step + 1 >= kLastInMask) {
            return step < LastStepAround(word) + Rule::kPeriod ? step + 1 : 0;
        }
        std::uint64_t steps = At(word).takingSteps;
        for (int i = 1; i <= Rule::kPeriod; ++i) {
            steps |= static_cast<std::uint64_t>(takingAround) << i;
        }
        steps = steps >> (step + 1) << (step + 1);
        return steps == 0 ? 0 : std::min(BitGrid::Lowest(steps), int{kLastInMask});
    }

    int LastStepAround(std::int32_t word) const {
        const int wordsPerRow = grid_.WordsPerRow();
        const int y = word / wordsPerRow;
        const int column = word - y * wordsPerRow;
        int last = 0;
        for (int v = std::max(y - 1, 0); v <= std::min(y + 1, height_ - 1); ++v) {
            for (int u = std::max(column - 1, 0); u <= std::min(column + 1, lastColumn_); ++u) {
                last = std::max(last, LastStep(v * wordsPerRow + u));
            }
        }
        return last;
    }

    // Also gives what happens in the words around.
    WordNeighbourhood Around(std::int32_t word, int step, std::uint32_t& takingAround) const {
        const int wordsPerRow = grid_.WordsPerRow();
        const int y = word / wordsPerRow;
        const int column = word - y * wordsPerRow;
        const Word beyond = column == lastColumn_ ? beyondLast_ : 0;
        struct Row {
            Word west, centre, east;
        };
        const auto row = [&](bool inside, std::int32_t middle) {
            if (!inside) {
                return Row{~Word{0}, ~Word{0}, ~Word{0}};
            }
            const auto left = [&](std::int32_t near) {
                const State& at = At(near);
                takingAround |= at.takingSteps;
                return LeftAfter(at, step);
            };
            const Word centre = left(middle) | beyond;
            const Word before = column > 0 ? left(middle - 1) : ~Word{0};
            const Word after = column < lastColumn_ ? left(middle + 1) : ~Word{0};
            return Row{centre << 1 | before >> 63, centre, centre >> 1 | after << 63};
        };
        const Row north = row(y > 0, word - wordsPerRow);
        const Row middle = row(true, word);
        const Row south = row(y + 1 < height_, word + wordsPerRow);
        return {north.west,  north.centre, north.east,   middle.west, middle.centre,
                middle.east, south.west,   south.centre, south.east};
    }

    void Set(State& at, int step, Word left) {
        if (static_cast<std::size_t>(step) < kInline) {
            at.steps[static_cast<std::size_t>(step)] = left;
        } else {
            SetLater(LaterOf(at), step, left);
        }
    }

    static bool IsEarlier(const Later& there, int wanted) { return there.step < wanted; }

    static void SetLater(std::vector<Later>& later, int step, Word left) {
        const auto there = std::lower_bound(later.begin(), later.end(), step, IsEarlier);
        if (there != later.end() && there->step == step) {
            there->left = left;
        } else {
            later.insert(there, {step, left});
        }
    }

    void Tidy(State& at) {
        at.changed = 0;
        at.lastStep = 0;
        at.takingSteps = 0;
        const auto takes = [&](int step) {
            at.lastStep = step;
            at.takingSteps |= 1u << std::min(step, int{kLastInMask});
        };
        for (std::size_t step = 1; step < kInline; ++step) {
            if (at.steps[step] != at.steps[step - 1]) {
                takes(static_cast<int>(step));
            }
        }
        if (at.later == 0) {
            return;
        }
        std::vector<Later>& later = later_[static_cast<std::size_t>(at.later) - 1];
        Word left = at.steps.back();
        std::size_t kept = 0;
        for (const Later& there : later) {
            if (there.left != left) {
                takes(there.step);
                later[kept++] = there;
                left = there.left;
            }
        }
        later.resize(kept);
    }

    BitGrid grid_;
    int height_;
    int lastColumn_;
    Word beyondLast_;  // bits of the last column's words that are beyond the picture
    ZeroedArray<State> states_;
    std::vector<std::vector<Later>> later_;
    std::vector<Change> changed_;
    std::vector<std::vector<std::int32_t>> queue_;  // per step: words to be worked out, and some that no longer are
    std::vector<std::int32_t> now_;
};

}  // namespace Korvane

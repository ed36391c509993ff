#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "BitGrid.h"
#include "ZeroedArray.h"

namespace Korvane {

/// Words of eight rows one below the other: a cache line of 512 pixels.
constexpr int kStripRows = 8;
using Strip = std::array<BitGrid::Word, std::size_t{kStripRows}>;

/// A strip, rows 1 to 8 of `centre`, with what lies around it: the row above and the one below it, and the words to
/// both sides of these ten.
struct StripNeighbourhood {
    using Rows = std::array<BitGrid::Word, std::size_t{kStripRows} + 2>;
    Rows west, centre, east;
};

/// A set of pixels that a rule makes smaller step by step until nothing changes any more, with all its steps, kept up
/// while the set itself changes.
///
/// Kept are, for every strip of 64 x 8, the pixels that are left after each step. Where the set changes, strips are
/// worked out again in the order of the steps, and on to strips around only where something comes out different at
/// their border: the result is that of all steps done anew, the cost that of the neighbourhood that really changes.
/// Beyond the picture everything counts as set and never leaves.
///
/// `Rule` has `static void Left(const StripNeighbourhood&, int step, Strip& left)`, the pixels of the strip that a step
/// from 1 on leaves, and `kPeriod`: after that many steps the rule begins again. A pixel around which nothing has
/// changed for a period stays. `kStepsAtHand` is how many steps have room beside the set itself.
///
/// Memory: 64 bytes per strip for the set and each step at hand, 28 more, 64 for what is left in the end, and 72 for
/// each step that takes pixels away from a strip and is not at hand; pages of memory that are never asked for count
/// nothing.
template <typename Rule>
class ShrinkingSet {
public:
    using Word = BitGrid::Word;
    ShrinkingSet(int width, int height);

    const BitGrid& Grid() const { return grid_; }

    /// Changes of the set, by words of the grid: noted first, then worked in all at once by Update.
    void Add(std::int32_t word, Word pixels) { ChangeSet(word, pixels, ~Word{0}); }
    void Remove(std::int32_t word, Word pixels) { ChangeSet(word, pixels, 0); }

    /// Works all changes in and calls visit(word, leftBefore) for each word of which something else is left in the end.
    template <typename Visit>
    void Update(Visit visit);

    /// What is left in the end.
    Word Left(std::int32_t word) const { return left_[static_cast<std::size_t>(word)]; }

private:
    static constexpr int kAtHand = Rule::kStepsAtHand;

    /// Sides and corners of a strip.
    enum Side : unsigned {
        kNorth = 1u,
        kSouth = 2u,
        kWest = 4u,
        kEast = 8u,
        kNorthWest = 16u,
        kNorthEast = 32u,
        kSouthWest = 64u,
        kSouthEast = 128u
    };

    struct Head {
        std::int32_t last;       // the last step that takes pixels away; in an update before or now
        std::int32_t queuedFor;  // the step the strip is queued for, 0 if for none, kNever beyond the picture
        std::int32_t changed;    // index + 1 into changed_
        std::int32_t later;      // index + 1 into later_
        std::uint32_t differs;   // in an update: the sides at which something is different from before
        bool reachesBeyond;      // has pixels beyond the picture
    };
    static constexpr std::int32_t kNever = -1;
    /// What the set is, and what the first steps leave, up to the last that takes pixels away.
    using Steps = std::array<Strip, std::size_t{kAtHand} + 1>;
    /// What a step leaves that takes pixels away and is not at hand.
    struct Later {
        std::int32_t step;
        Strip left;
    };
    struct Change {
        std::int32_t strip;
        std::int32_t lastBefore;
        Strip different;  // what the step worked out last left and did not leave before the update, or the other way
    };

    static Strip Difference(const Strip& a, const Strip& b) {
        Strip difference;
        for (std::size_t i = 0; i < difference.size(); ++i) {
            difference[i] = a[i] ^ b[i];
        }
        return difference;
    }
    static Word AnyOf(const Strip& strip) {
        Word any = 0;
        for (const Word row : strip) {
            any |= row;
        }
        return any;
    }
    static unsigned SidesOf(const Strip& strip) {
        const Word any = AnyOf(strip);
        const Word top = strip.front();
        const Word bottom = strip.back();
        return (top != 0 ? kNorth : 0u) | (bottom != 0 ? kSouth : 0u) | ((any & 1u) != 0 ? kWest : 0u) |
               (any >> 63 != 0 ? kEast : 0u) | ((top & 1u) != 0 ? kNorthWest : 0u) |
               (top >> 63 != 0 ? kNorthEast : 0u) | ((bottom & 1u) != 0 ? kSouthWest : 0u) |
               (bottom >> 63 != 0 ? kSouthEast : 0u);
    }

    Head& HeadOf(std::int32_t strip) { return heads_[static_cast<std::size_t>(strip)]; }
    const Head& HeadOf(std::int32_t strip) const { return heads_[static_cast<std::size_t>(strip)]; }
    Steps& StepsOf(std::int32_t strip) { return steps_[static_cast<std::size_t>(strip)]; }
    const Steps& StepsOf(std::int32_t strip) const { return steps_[static_cast<std::size_t>(strip)]; }
    Change& ChangeOf(const Head& head) { return changed_[static_cast<std::size_t>(head.changed) - 1]; }
    std::vector<Later>& LaterOf(const Head& head) { return later_[static_cast<std::size_t>(head.later) - 1]; }
    const std::vector<Later>& LaterOf(const Head& head) const {
        return later_[static_cast<std::size_t>(head.later) - 1];
    }

    // One strip more on either side of each row, shared by rows that follow each other, and one more row at either end.
    std::int32_t StripAt(int row, int column) const { return (row + 1) * stride_ + column + 1; }
    int RowOf(std::int32_t strip) const { return strip / stride_ - 1; }
    int ColumnOf(std::int32_t strip) const { return strip % stride_ - 1; }
    Strip Beyond(std::int32_t strip) const;
    void MakeBeyond(std::int32_t strip);

    const Strip& LeftAfter(std::int32_t strip, int step) const {
        const Head& head = HeadOf(strip);
        if (step > kAtHand && head.later != 0) {
            return LeftAfterLater(strip, step);
        }
        return StepsOf(strip)[static_cast<std::size_t>(std::min({step, head.last, kAtHand}))];
    }
    const Strip& LeftAfterLater(std::int32_t strip, int step) const;
    Later* LaterAt(const Head& head, int step);
    Strip LeftBefore(std::int32_t strip, int step, const Strip& current);
    Change& NoteChange(std::int32_t strip);
    void ChangeSet(std::int32_t word, Word pixels, Word wanted);
    void Queue(std::int32_t strip, int step);
    void QueueAround(std::int32_t strip, const Strip& pixels, int step);
    void WorkOut(std::int32_t strip, int step);
    bool Compare(std::int32_t strip, int step, const Strip& current, const Strip& left);
    void Store(std::int32_t strip, int step, const Strip& current, const Strip& left);
    void StoreLater(std::int32_t strip, int step, const Strip& current, const Strip& left);
    void Gather(std::int32_t strip, int step, StripNeighbourhood& around) const;
    int LastStepAround(std::int32_t strip) const;
    bool DiffersAround(std::int32_t strip) const;
    void Tidy(std::int32_t strip);
    void NoteWords(std::int32_t strip);

    BitGrid grid_;
    int height_;
    int columns_;
    int rows_;
    int stride_;
    Word beyondLast_;  // bits of the last column's words that are beyond the picture
    ZeroedArray<Head> heads_;
    ZeroedArray<Steps> steps_;
    ZeroedArray<Word> left_;
    std::vector<std::vector<Later>> later_;
    std::vector<Change> changed_;
    std::vector<std::vector<std::int32_t>> queue_;  // per step: strips to be worked out, and some that no longer are
    std::vector<std::int32_t> now_;
    struct ChangedWord {
        std::int32_t word;
        Word leftBefore;
    };
    std::vector<ChangedWord> changedWords_;
};

template <typename Rule>
ShrinkingSet<Rule>::ShrinkingSet(int width, int height)
    : grid_(width, height),
      height_(height),
      columns_(grid_.WordsPerRow()),
      rows_((height + kStripRows - 1) / kStripRows),
      stride_(columns_ + 1),
      beyondLast_(width % 64 == 0 ? 0 : ~Word{0} << (width % 64)),
      heads_(static_cast<std::size_t>(rows_ + 2) * static_cast<std::size_t>(stride_) + 1),
      steps_(heads_.size()),
      left_(grid_.Words()) {
    for (int column = -1; column <= columns_; ++column) {
        MakeBeyond(StripAt(-1, column));
        MakeBeyond(StripAt(rows_, column));
        if (height % kStripRows != 0 && column >= 0 && column < columns_) {
            MakeBeyond(StripAt(rows_ - 1, column));
        }
    }
    for (int row = 0; row < rows_; ++row) {
        MakeBeyond(StripAt(row, -1));
        if (beyondLast_ != 0) {
            MakeBeyond(StripAt(row, columns_ - 1));
        }
    }
    MakeBeyond(StripAt(rows_, -1));
}

template <typename Rule>
void ShrinkingSet<Rule>::MakeBeyond(std::int32_t strip) {
    HeadOf(strip).reachesBeyond = true;
    StepsOf(strip)[0] = Beyond(strip);
    const int column = ColumnOf(strip);
    if (column < 0 || RowOf(strip) < 0 || RowOf(strip) >= rows_) {
        HeadOf(strip).queuedFor = kNever;
    }
}

template <typename Rule>
Strip ShrinkingSet<Rule>::Beyond(std::int32_t strip) const {
    const int column = ColumnOf(strip);
    const int row = RowOf(strip);
    const Word beyond = column < 0 ? ~Word{0} : column == columns_ - 1 ? beyondLast_ : 0;
    Strip all;
    for (int i = 0; i < kStripRows; ++i) {
        const int y = row * kStripRows + i;
        all[static_cast<std::size_t>(i)] = row < 0 || y >= height_ ? ~Word{0} : beyond;
    }
    return all;
}

template <typename Rule>
template <typename Visit>
void ShrinkingSet<Rule>::Update(Visit visit) {
    for (std::size_t i = 0; i < changed_.size(); ++i) {
        const Change change = changed_[i];
        Queue(change.strip, 1);
        QueueAround(change.strip, change.different, 0);
    }
    for (int step = 1; step < static_cast<int>(queue_.size()); ++step) {
        // What is queued meanwhile is queued for later steps.
        now_.swap(queue_[static_cast<std::size_t>(step)]);
        for (const std::int32_t strip : now_) {
            if (HeadOf(strip).queuedFor == step) {
                WorkOut(strip, step);
            }
        }
        now_.clear();
    }
    for (const Change& change : changed_) {
        Tidy(change.strip);
        NoteWords(change.strip);
    }
    changed_.clear();
    for (const ChangedWord& changed : changedWords_) {
        visit(changed.word, changed.leftBefore);
    }
    changedWords_.clear();
}

template <typename Rule>
const Strip& ShrinkingSet<Rule>::LeftAfterLater(std::int32_t strip, int step) const {
    const Head& head = HeadOf(strip);
    const std::vector<Later>& later = LaterOf(head);
    const auto after = std::upper_bound(later.begin(), later.end(), step,
                                        [](int wanted, const Later& there) { return wanted < there.step; });
    return after == later.begin() ? StepsOf(strip)[static_cast<std::size_t>(std::min(head.last, kAtHand))]
                                  : (after - 1)->left;
}

template <typename Rule>
typename ShrinkingSet<Rule>::Later* ShrinkingSet<Rule>::LaterAt(const Head& head, int step) {
    if (head.later == 0) {
        return nullptr;
    }
    std::vector<Later>& later = LaterOf(head);
    const auto there = std::lower_bound(later.begin(), later.end(), step,
                                        [](const Later& at, int wanted) { return at.step < wanted; });
    return there != later.end() && there->step == step ? &*there : nullptr;
}

// What a step that is being worked out left before the update: what differed after the step before still does, but for
// what the step took away.
template <typename Rule>
Strip ShrinkingSet<Rule>::LeftBefore(std::int32_t strip, int step, const Strip& current) {
    const Head& head = HeadOf(strip);
    if (head.changed == 0) {
        return LeftAfter(strip, step);
    }
    const Change& change = ChangeOf(head);
    if (step <= change.lastBefore && step <= kAtHand) {
        return StepsOf(strip)[static_cast<std::size_t>(step)];
    }
    const Later* later = step > kAtHand ? LaterAt(head, step) : nullptr;
    return later != nullptr ? later->left : Difference(current, change.different);
}

template <typename Rule>
typename ShrinkingSet<Rule>::Change& ShrinkingSet<Rule>::NoteChange(std::int32_t strip) {
    Head& head = HeadOf(strip);
    if (head.changed == 0) {
        changed_.push_back({strip, head.last, Strip{}});
        head.changed = static_cast<std::int32_t>(changed_.size());
    }
    return ChangeOf(head);
}

template <typename Rule>
void ShrinkingSet<Rule>::ChangeSet(std::int32_t word, Word pixels, Word wanted) {
    const int y = word / columns_;
    const std::int32_t strip = StripAt(y / kStripRows, word - y * columns_);
    const auto row = static_cast<std::size_t>(y % kStripRows);
    Word& set = StepsOf(strip)[0][row];
    const Word different = (set ^ wanted) & pixels;
    if (different != 0) {
        Change& change = NoteChange(strip);
        // Before the set is anything else than before, what its steps leave has to be kept beside it.
        change.different[row] ^= different;
        HeadOf(strip).differs = SidesOf(change.different);
        set ^= different;
    }
}

template <typename Rule>
void ShrinkingSet<Rule>::Queue(std::int32_t strip, int step) {
    std::int32_t& queuedFor = HeadOf(strip).queuedFor;
    // A strip whose turn in the present step is still to come finds out by itself that it has to go on.
    if (queuedFor != 0 && queuedFor <= step) {
        return;
    }
    queuedFor = step;
    if (queue_.size() <= static_cast<std::size_t>(step)) {
        queue_.resize(static_cast<std::size_t>(step) + 1);
    }
    queue_[static_cast<std::size_t>(step)].push_back(strip);
}

// Strips with something left next to given pixels of another.
template <typename Rule>
void ShrinkingSet<Rule>::QueueAround(std::int32_t strip, const Strip& pixels, int step) {
    const unsigned sides = SidesOf(pixels);
    const auto queueAbove = [&](std::int32_t near, Word beside) {
        if ((LeftAfter(near, step).back() & beside) != 0) {
            Queue(near, step + 1);
        }
    };
    const auto queueBelow = [&](std::int32_t near, Word beside) {
        if ((LeftAfter(near, step).front() & beside) != 0) {
            Queue(near, step + 1);
        }
    };
    const auto queueBeside = [&](std::int32_t near, Word beside) {
        if ((AnyOf(LeftAfter(near, step)) & beside) != 0) {
            Queue(near, step + 1);
        }
    };
    constexpr Word first = 1;
    constexpr Word last = Word{1} << 63;
    if ((sides & kNorth) != 0) {
        const Word top = pixels.front();
        queueAbove(strip - stride_, top | top << 1 | top >> 1);
    }
    if ((sides & kSouth) != 0) {
        const Word bottom = pixels.back();
        queueBelow(strip + stride_, bottom | bottom << 1 | bottom >> 1);
    }
    if ((sides & kWest) != 0) {
        queueBeside(strip - 1, last);
    }
    if ((sides & kEast) != 0) {
        queueBeside(strip + 1, first);
    }
    if ((sides & kNorthWest) != 0) {
        queueAbove(strip - stride_ - 1, last);
    }
    if ((sides & kNorthEast) != 0) {
        queueAbove(strip - stride_ + 1, first);
    }
    if ((sides & kSouthWest) != 0) {
        queueBelow(strip + stride_ - 1, last);
    }
    if ((sides & kSouthEast) != 0) {
        queueBelow(strip + stride_ + 1, first);
    }
}

template <typename Rule>
void ShrinkingSet<Rule>::WorkOut(std::int32_t strip, int step) {
    HeadOf(strip).queuedFor = 0;
    const Strip current = LeftAfter(strip, step - 1);
    if (AnyOf(current) == 0) {
        // Nothing around it matters any more; only what was left before can.
        if (Compare(strip, step, current, current) && step < HeadOf(strip).last) {
            Queue(strip, step + 1);
        }
        return;
    }
    StripNeighbourhood around;
    Gather(strip, step - 1, around);
    Strip left;
    Rule::Left(around, step, left);
    if (HeadOf(strip).reachesBeyond) {
        const Strip beyond = Beyond(strip);
        for (std::size_t i = 0; i < left.size(); ++i) {
            left[i] |= beyond[i];
        }
    }
    const bool differs = Compare(strip, step, current, left);
    if ((differs || DiffersAround(strip)) && step < LastStepAround(strip) + Rule::kPeriod) {
        Queue(strip, step + 1);
    }
}

// Notes what a step leaves and tells strips around of what has become different, or no longer is. Returns whether
// anything is.
template <typename Rule>
bool ShrinkingSet<Rule>::Compare(std::int32_t strip, int step, const Strip& current, const Strip& left) {
    const Strip different = Difference(left, LeftBefore(strip, step, current));
    const Word any = AnyOf(different);
    if (any == 0 && HeadOf(strip).changed == 0) {
        return false;
    }
    Change& change = NoteChange(strip);
    Store(strip, step, current, left);
    const Strip fresh = Difference(different, change.different);
    change.different = different;
    HeadOf(strip).differs = SidesOf(different);
    QueueAround(strip, fresh, step);
    return any != 0;
}

template <typename Rule>
void ShrinkingSet<Rule>::Store(std::int32_t strip, int step, const Strip& current, const Strip& left) {
    if (step > kAtHand) {
        StoreLater(strip, step, current, left);
        return;
    }
    Head& head = HeadOf(strip);
    Steps& steps = StepsOf(strip);
    if (step > head.last) {
        if (left == current) {
            return;
        }
        std::fill(steps.begin() + head.last + 1, steps.begin() + step, steps[static_cast<std::size_t>(head.last)]);
        head.last = step;
    }
    steps[static_cast<std::size_t>(step)] = left;
}

template <typename Rule>
void ShrinkingSet<Rule>::StoreLater(std::int32_t strip, int step, const Strip& current, const Strip& left) {
    Head& head = HeadOf(strip);
    if (Later* there = LaterAt(head, step)) {
        there->left = left;
        return;
    }
    if (left == current) {
        return;
    }
    if (head.last < kAtHand) {
        Steps& steps = StepsOf(strip);
        std::fill(steps.begin() + head.last + 1, steps.end(), steps[static_cast<std::size_t>(head.last)]);
    }
    if (head.later == 0) {
        later_.emplace_back();
        head.later = static_cast<std::int32_t>(later_.size());
    }
    std::vector<Later>& later = LaterOf(head);
    const auto after = std::upper_bound(later.begin(), later.end(), step,
                                        [](int wanted, const Later& there) { return wanted < there.step; });
    later.insert(after, {step, left});
    head.last = std::max(head.last, step);
}

template <typename Rule>
void ShrinkingSet<Rule>::Gather(std::int32_t strip, int step, StripNeighbourhood& around) const {
    const auto fill = [&](std::int32_t middle, StripNeighbourhood::Rows& rows) {
        const Strip& strips = LeftAfter(middle, step);
        rows.front() = LeftAfter(middle - stride_, step).back();
        std::copy(strips.begin(), strips.end(), rows.begin() + 1);
        rows.back() = LeftAfter(middle + stride_, step).front();
    };
    fill(strip - 1, around.west);
    fill(strip, around.centre);
    fill(strip + 1, around.east);
}

template <typename Rule>
int ShrinkingSet<Rule>::LastStepAround(std::int32_t strip) const {
    int last = 0;
    for (const std::int32_t middle : {strip - stride_, strip, strip + stride_}) {
        last = std::max({last, HeadOf(middle - 1).last, HeadOf(middle).last, HeadOf(middle + 1).last});
    }
    return last;
}

template <typename Rule>
bool ShrinkingSet<Rule>::DiffersAround(std::int32_t strip) const {
    const std::int32_t north = strip - stride_;
    const std::int32_t south = strip + stride_;
    const auto near = [&](std::int32_t other, unsigned side) { return HeadOf(other).differs & side; };
    return (near(north - 1, kSouthEast) | near(north, kSouth) | near(north + 1, kSouthWest) | near(strip - 1, kEast) |
            near(strip + 1, kWest) | near(south - 1, kNorthEast) | near(south, kNorth) | near(south + 1, kNorthWest)) !=
           0;
}

template <typename Rule>
void ShrinkingSet<Rule>::Tidy(std::int32_t strip) {
    Head& head = HeadOf(strip);
    const Steps& steps = StepsOf(strip);
    head.changed = 0;
    head.differs = 0;
    const int atHand = std::min(head.last, kAtHand);
    if (head.later != 0) {
        std::vector<Later>& later = LaterOf(head);
        const Strip* left = &steps[static_cast<std::size_t>(atHand)];
        std::size_t kept = 0;
        for (const Later& there : later) {
            if (there.left != *left) {
                later[kept] = there;
                left = &later[kept].left;
                ++kept;
            }
        }
        later.resize(kept);
        if (kept > 0) {
            head.last = later.back().step;
            return;
        }
    }
    head.last = atHand;
    while (head.last > 0 &&
           steps[static_cast<std::size_t>(head.last)] == steps[static_cast<std::size_t>(head.last) - 1]) {
        --head.last;
    }
}

template <typename Rule>
void ShrinkingSet<Rule>::NoteWords(std::int32_t strip) {
    const int column = ColumnOf(strip);
    const int top = RowOf(strip) * kStripRows;
    const Word inside = column == columns_ - 1 ? ~beyondLast_ : ~Word{0};
    const Strip& lines = LeftAfter(strip, HeadOf(strip).last);
    for (int i = 0; i < std::min(kStripRows, height_ - top); ++i) {
        const std::int32_t word = grid_.WordAt(column * 64, top + i);
        Word& left = left_[static_cast<std::size_t>(word)];
        const Word now = lines[static_cast<std::size_t>(i)] & inside;
        if (now != left) {
            changedWords_.push_back({word, left});
            left = now;
        }
    }
}

}  // namespace Korvane

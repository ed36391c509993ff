#include "ShrinkingSet.h"

#include <algorithm>

#include "ThinningStep.h"

namespace Korvane {

ShrinkingSet::ShrinkingSet(int width, int height)
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

void ShrinkingSet::MakeBeyond(std::int32_t strip) {
    HeadOf(strip).reachesBeyond = true;
    StepsOf(strip)[0] = Beyond(strip);
    const int column = ColumnOf(strip);
    if (column < 0 || RowOf(strip) < 0 || RowOf(strip) >= rows_) {
        HeadOf(strip).queuedFor = kNever;
    }
}

Strip ShrinkingSet::Beyond(std::int32_t strip) const {
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

// Sides and corners at which a strip has pixels.
unsigned ShrinkingSet::SidesOf(const Strip& strip) {
    const Word any = AnyOf(strip);
    const Word top = strip.Top();
    const Word bottom = strip.Bottom();
    return (top != 0 ? kNorth : 0u) | (bottom != 0 ? kSouth : 0u) | ((any & 1u) != 0 ? kWest : 0u) |
           (any >> 63 != 0 ? kEast : 0u) | ((top & 1u) != 0 ? kNorthWest : 0u) | (top >> 63 != 0 ? kNorthEast : 0u) |
           ((bottom & 1u) != 0 ? kSouthWest : 0u) | (bottom >> 63 != 0 ? kSouthEast : 0u);
}

void ShrinkingSet::WorkChangesIn() {
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
}

const Strip& ShrinkingSet::LeftAfterLater(const Head& head, const Steps& steps, int step) const {
    if (head.last > kAtHand) {
        const std::vector<Later>& later = LaterOf(head);
        const auto after = std::upper_bound(later.begin(), later.end(), step,
                                            [](int wanted, const Later& there) { return wanted < there.step; });
        if (after != later.begin()) {
            return (after - 1)->left;
        }
    }
    return AtHand(head, steps, kAtHand);
}

ShrinkingSet::Later* ShrinkingSet::LaterAt(const Head& head, int step) {
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
Strip ShrinkingSet::LeftBefore(std::int32_t strip, int step, const Strip& current) {
    const Head& head = HeadOf(strip);
    if (head.changed == 0) {
        return LeftAfter(strip, step);
    }
    const Change& change = ChangeOf(head);
    if (step <= change.lastBefore && step <= kAtHand) {
        return StepsOf(strip)[static_cast<std::size_t>(step)];
    }
    const Later* later = step > kAtHand ? LaterAt(head, step) : nullptr;
    return later != nullptr ? later->left : current ^ change.different;
}

ShrinkingSet::Change& ShrinkingSet::NoteChange(std::int32_t strip) {
    Head& head = HeadOf(strip);
    if (head.changed == 0) {
        Change change{};
        change.strip = strip;
        change.lastBefore = head.last;
        changed_.push_back(change);
        head.changed = static_cast<std::int32_t>(changed_.size());
        head.told = 0;
    }
    return ChangeOf(head);
}

void ShrinkingSet::ChangeSet(std::int32_t word, Word pixels, Word wanted) {
    const int y = word / columns_;
    const std::int32_t strip = StripAt(y / kStripRows, word - y * columns_);
    const auto row = static_cast<std::size_t>(y % kStripRows);
    Word& set = StepsOf(strip)[0][row];
    const Word different = (set ^ wanted) & pixels;
    if (different != 0) {
        if (HeadOf(strip).changed == 0) {
            __builtin_prefetch(&HeadOf(strip - stride_));
            __builtin_prefetch(&HeadOf(strip + stride_));
            FetchAhead(strip, 0);
        }
        Change& change = NoteChange(strip);
        change.different[row] ^= different;
        HeadOf(strip).differs = SidesOf(change.different);
        set ^= different;
    }
}

void ShrinkingSet::Queue(std::int32_t strip, int step) {
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
    FetchAhead(strip, step);
}

// Strips with something left next to given pixels of another.
void ShrinkingSet::QueueAround(std::int32_t strip, const Strip& pixels, int step) {
    const unsigned sides = SidesOf(pixels);
    const auto tell = [&](std::int32_t near, auto rowsOf, Word beside) {
        if ((rowsOf(LeftAfter(near, step)) & beside) != 0) {
            Queue(near, step + 1);
            HeadOf(near).told = step;
        } else if (HeadOf(near).changed != 0) {
            // What it had before counts as well, and where its turn in this step is still to come that is not known.
            const bool isToCome = HeadOf(near).queuedFor == step;
            if (isToCome || (rowsOf(ChangeOf(HeadOf(near)).different) & beside) != 0) {
                HeadOf(near).told = step;
            }
        }
    };
    const auto queueAbove = [&](std::int32_t near, Word beside) {
        tell(
            near, [](const Strip& rows) { return rows.Bottom(); }, beside);
    };
    const auto queueBelow = [&](std::int32_t near, Word beside) {
        tell(
            near, [](const Strip& rows) { return rows.Top(); }, beside);
    };
    const auto queueBeside = [&](std::int32_t near, Word beside) {
        tell(
            near, [](const Strip& rows) { return AnyOf(rows); }, beside);
    };
    constexpr Word first = 1;
    constexpr Word last = Word{1} << 63;
    if ((sides & kNorth) != 0) {
        const Word top = pixels.Top();
        queueAbove(strip - stride_, top | top << 1 | top >> 1);
    }
    if ((sides & kSouth) != 0) {
        const Word bottom = pixels.Bottom();
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

void ShrinkingSet::WorkOut(std::int32_t strip, int step) {
    HeadOf(strip).queuedFor = 0;
    if (!GoesOnDiffering(strip, step)) {
        const Strip current = LeftAfter(strip, step - 1);
        if (AnyOf(current) == 0) {
            // Nothing around it matters any more; only what was left before can.
            if (Compare(strip, step, current, current) && step < HeadOf(strip).last) {
                Queue(strip, step + 1);
            }
            return;
        }
        if (!Compare(strip, step, current, LeftOf(strip, step)) && !DiffersAround(strip)) {
            return;
        }
    }
    if (step < HeadOf(strip).last || step < LastStepAround(strip) + ThinningStep::kPeriod) {
        Queue(strip, step + 1);
    }
}

// What a step leaves depends on pixels up to one away, and is what the step a period before left if none of these has
// changed since. So where nothing has been taken for a period up to two away from what is different from before the
// update, the same stays different: elsewhere everything happens as before. Returns whether that is so, and then notes
// what the step leaves.
bool ShrinkingSet::GoesOnDiffering(std::int32_t strip, int step) {
    const Head& head = HeadOf(strip);
    if (head.changed == 0) {
        return false;
    }
    Change& change = ChangeOf(head);
    const int fresh = std::max(change.lastFresh, head.told);
    if (step - ThinningStep::kPeriod - 1 < fresh) {
        return false;
    }
    if (change.nearSince <= fresh) {
        FindNear(strip, step, change);
    }
    if (HasTakenNear(strip, step, change)) {
        return false;
    }
    if (step <= change.lastBefore) {
        Strip* left = step <= kAtHand ? &StepsOf(strip)[static_cast<std::size_t>(step)] : nullptr;
        if (Later* later = step > kAtHand ? LaterAt(head, step) : nullptr) {
            left = &later->left;
        }
        if (left != nullptr) {
            *left = *left ^ change.different;
        }
    }
    return true;
}

bool ShrinkingSet::HasTakenNear(std::int32_t strip, int step, const Change& change) const {
    const auto taken = [&](std::int32_t of) {
        return LeftAfter(of, step - 1) ^ LeftAfter(of, step - 1 - ThinningStep::kPeriod);
    };
    const auto row = [&](std::int32_t of, std::size_t i) {
        return LeftAfter(of, step - 1)[i] ^ LeftAfter(of, step - 1 - ThinningStep::kPeriod)[i];
    };
    const Strip here = taken(strip);
    Word any = 0;
    for (std::size_t i = 0; i < here.rows.size(); ++i) {
        any |= here[i] & change.near[i];
    }
    constexpr std::size_t bottom = kStripRows - 1;
    const auto at = [&](Side side) { return (change.nearSides & side) != 0; };
    any |= at(kNorth) ? row(strip - stride_, bottom) & change.nearNorth : 0;
    any |= at(kSouth) ? row(strip + stride_, 0) & change.nearSouth : 0;
    any |= at(kWest) ? AnyOf(taken(strip - 1)) >> 63 : 0;
    any |= at(kEast) ? AnyOf(taken(strip + 1)) & 1u : 0;
    any |= at(kNorthWest) ? row(strip - stride_ - 1, bottom) >> 63 : 0;
    any |= at(kNorthEast) ? row(strip - stride_ + 1, bottom) & 1u : 0;
    any |= at(kSouthWest) ? row(strip + stride_ - 1, 0) >> 63 : 0;
    any |= at(kSouthEast) ? row(strip + stride_ + 1, 0) & 1u : 0;
    return any != 0;
}

void ShrinkingSet::FindNear(std::int32_t strip, int step, Change& change) {
    const auto different = [&](std::int32_t of) {
        return HeadOf(of).changed == 0 ? Strip{} : ChangeOf(HeadOf(of)).different;
    };
    StripNeighbourhood around;
    const auto fill = [&](std::int32_t middle, StripNeighbourhood::Rows& rows) {
        const Strip here = different(middle);
        rows.front() = different(middle - stride_).Bottom();
        std::copy(here.rows.begin(), here.rows.end(), rows.begin() + 1);
        rows.back() = different(middle + stride_).Top();
    };
    fill(strip - 1, around.west);
    fill(strip, around.centre);
    fill(strip + 1, around.east);
    Strip beside;
    for (std::size_t i = 0; i < beside.rows.size(); ++i) {
        const auto all = [&](const StripNeighbourhood::Rows& rows) { return rows[i] | rows[i + 1] | rows[i + 2]; };
        const Word centre = all(around.centre);
        beside[i] = centre | centre << 1 | centre >> 1 | all(around.west) >> 63 | all(around.east) << 63;
    }
    for (std::size_t i = 0; i < beside.rows.size(); ++i) {
        const Word above = i > 0 ? beside[i - 1] : 0;
        const Word below = i + 1 < beside.rows.size() ? beside[i + 1] : 0;
        change.near[i] = Wider(above | beside[i] | below);
    }
    change.nearNorth = Wider(beside.Top());
    change.nearSouth = Wider(beside.Bottom());
    change.nearSides = SidesOf(beside);
    change.nearSince = step;
}

// What the rule leaves of a strip.
Strip ShrinkingSet::LeftOf(std::int32_t strip, int step) const {
    StripNeighbourhood around;
    if (step - 1 <= kAtHand) {
        Gather(strip, around,
               [step](const Head& head, const Steps& steps) -> const Strip& { return AtHand(head, steps, step - 1); });
    } else {
        Gather(strip, around, [this, step](const Head& head, const Steps& steps) -> const Strip& {
            return LeftAfterLater(head, steps, step - 1);
        });
    }
    Strip left;
    ThinningStep::Left(around, step, left);
    if (HeadOf(strip).reachesBeyond) {
        const Strip beyond = Beyond(strip);
        for (std::size_t i = 0; i < left.rows.size(); ++i) {
            left[i] |= beyond[i];
        }
    }
    return left;
}

template <typename LeftIn>
void ShrinkingSet::Gather(std::int32_t strip, StripNeighbourhood& around, LeftIn leftIn) const {
    const std::array<const Head*, 3> heads{&HeadOf(strip - stride_), &HeadOf(strip), &HeadOf(strip + stride_)};
    const std::array<const Steps*, 3> steps{&StepsOf(strip - stride_), &StepsOf(strip), &StepsOf(strip + stride_)};
    const auto fill = [&](std::ptrdiff_t side, StripNeighbourhood::Rows& rows) {
        const Strip& middle = leftIn(heads[1][side], steps[1][side]);
        rows.front() = leftIn(heads[0][side], steps[0][side]).Bottom();
        std::copy(middle.rows.begin(), middle.rows.end(), rows.begin() + 1);
        rows.back() = leftIn(heads[2][side], steps[2][side]).Top();
    };
    fill(-1, around.west);
    fill(0, around.centre);
    fill(1, around.east);
}

// Notes what a step leaves and tells strips around of what has become different, or no longer is. Returns whether
// anything is.
bool ShrinkingSet::Compare(std::int32_t strip, int step, const Strip& current, const Strip& left) {
    const Strip different = left ^ LeftBefore(strip, step, current);
    const Word any = AnyOf(different);
    if (any == 0 && HeadOf(strip).changed == 0) {
        return false;
    }
    Change& change = NoteChange(strip);
    Store(strip, step, current, left);
    const Strip fresh = different ^ change.different;
    if (AnyOf(fresh) != 0) {
        change.different = different;
        change.lastFresh = step;
        HeadOf(strip).differs = SidesOf(different);
        QueueAround(strip, fresh, step);
    }
    return any != 0;
}

void ShrinkingSet::Store(std::int32_t strip, int step, const Strip& current, const Strip& left) {
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

void ShrinkingSet::StoreLater(std::int32_t strip, int step, const Strip& current, const Strip& left) {
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

int ShrinkingSet::LastStepAround(std::int32_t strip) const {
    int last = 0;
    for (const Head* head : {&HeadOf(strip - stride_), &HeadOf(strip), &HeadOf(strip + stride_)}) {
        last = std::max({last, head[-1].last, head[0].last, head[1].last});
    }
    return last;
}

bool ShrinkingSet::DiffersAround(std::int32_t strip) const {
    const std::int32_t north = strip - stride_;
    const std::int32_t south = strip + stride_;
    const auto near = [&](std::int32_t other, unsigned side) { return HeadOf(other).differs & side; };
    return (near(north - 1, kSouthEast) | near(north, kSouth) | near(north + 1, kSouthWest) | near(strip - 1, kEast) |
            near(strip + 1, kWest) | near(south - 1, kNorthEast) | near(south, kNorth) | near(south + 1, kNorthWest)) !=
           0;
}

void ShrinkingSet::Tidy(std::int32_t strip) {
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
            if (!(there.left == *left)) {
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

void ShrinkingSet::NoteWords(std::int32_t strip) {
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

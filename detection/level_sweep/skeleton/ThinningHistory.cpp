#include "skeleton/ThinningHistory.h"

#include <algorithm>

#include "skeleton/ThinningIteration.h"

namespace level_sweep {
namespace {

using Word = ThinningHistory::Word;

constexpr std::size_t kReach = BlockSurroundings::kReach;

Word TwiceWider(Word pixels) { return DilateRow(DilateRow(pixels)); }

// Puts together what lies around a strip: stripAt(rows, columns) gives the one that many rows and columns of strips
// away.
template <typename StripAway>
void Gather(BlockSurroundings& around, StripAway stripAt) {
    const auto fill = [&](std::ptrdiff_t column, BlockSurroundings::Rows& rows) {
        const PixelBlock& north = stripAt(-1, column);
        const PixelBlock& middle = stripAt(0, column);
        const PixelBlock& south = stripAt(1, column);
        std::copy(north.rows.end() - kReach, north.rows.end(), rows.begin());
        std::copy(middle.rows.begin(), middle.rows.end(), rows.begin() + kReach);
        std::copy(south.rows.begin(), south.rows.begin() + kReach, rows.begin() + kReach + kBlockRows);
    };
    fill(-1, around.west);
    fill(0, around.centre);
    fill(1, around.east);
}

}  // namespace

ThinningHistory::ThinningHistory(int width, int height)
    : height_(height),
      columns_((width + 63) / 64),
      rows_((height + kBlockRows - 1) / kBlockRows),
      stride_(columns_ + 1),
      beyondLast_(width % 64 == 0 ? 0 : ~Word{0} << (width % 64)),
      heads_(static_cast<std::size_t>(rows_ + 2) * static_cast<std::size_t>(stride_) + 1),
      steps_(heads_.size()) {
    for (int column = -1; column <= columns_; ++column) {
        MakeBeyond(StripAt(-1, column));
        MakeBeyond(StripAt(rows_, column));
        if (height % kBlockRows != 0 && column >= 0 && column < columns_) {
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
    for (int row = 0; row < rows_; ++row) {
        HeadOf(StripAt(row, 0)).isAtBorder = true;
        HeadOf(StripAt(row, columns_ - 1)).isAtBorder = true;
    }
    for (int column = 0; column < columns_; ++column) {
        HeadOf(StripAt(0, column)).isAtBorder = true;
        HeadOf(StripAt(rows_ - 1, column)).isAtBorder = true;
    }
}

void ThinningHistory::MakeBeyond(std::int32_t strip) {
    StepsOf(strip)[0] = Beyond(strip);
    const int column = ColumnOf(strip);
    if (column < 0 || RowOf(strip) < 0 || RowOf(strip) >= rows_) {
        HeadOf(strip).queuedFor = kNever;
    }
}

// Which pixels of a column of words are beyond the picture.
ThinningHistory::Word ThinningHistory::BeyondIn(int column, int y) const {
    if (y < 0 || y >= height_ || column < 0 || column >= columns_) {
        return ~Word{0};
    }
    return column == columns_ - 1 ? beyondLast_ : 0;
}

PixelBlock ThinningHistory::Beyond(std::int32_t strip) const {
    PixelBlock all;
    for (int i = 0; i < kBlockRows; ++i) {
        all[static_cast<std::size_t>(i)] = BeyondIn(ColumnOf(strip), RowOf(strip) * kBlockRows + i);
    }
    return all;
}

BlockSurroundings ThinningHistory::BeyondAround(std::int32_t strip) const {
    BlockSurroundings around;
    const int column = ColumnOf(strip);
    int y = RowOf(strip) * kBlockRows - static_cast<int>(kReach);
    for (std::size_t i = 0; i < BlockSurroundings::kRows; ++i, ++y) {
        around.west[i] = BeyondIn(column - 1, y);
        around.centre[i] = BeyondIn(column, y);
        around.east[i] = BeyondIn(column + 1, y);
    }
    return around;
}

void ThinningHistory::WorkChangesIn() {
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
}

const PixelBlock& ThinningHistory::LeftAfterLater(const Head& head, const Steps& steps, int step) const {
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

ThinningHistory::Later* ThinningHistory::LaterAt(const Head& head, int step) {
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
PixelBlock ThinningHistory::LeftBefore(std::int32_t strip, int step, const PixelBlock& current) {
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

ThinningHistory::Change& ThinningHistory::NoteChange(std::int32_t strip) {
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

void ThinningHistory::ChangeSet(std::int32_t word, Word pixels, Word wanted) {
    const int y = word / columns_;
    const std::int32_t strip = StripAt(y / kBlockRows, word - y * columns_);
    const auto row = static_cast<std::size_t>(y % kBlockRows);
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

void ThinningHistory::Queue(std::int32_t strip, int step) {
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

// Strips with something left near given pixels of another.
void ThinningHistory::QueueAround(std::int32_t strip, const PixelBlock& pixels, int step) {
    const unsigned sides = SidesOf(pixels);
    const auto tell = [&](std::int32_t near, auto hasBeside) {
        if (hasBeside(LeftAfter(near, step))) {
            Queue(near, step + 1);
            HeadOf(near).told = step;
        } else if (HeadOf(near).changed != 0) {
            // What it had before counts as well, and where its turn in this step is still to come that is not known.
            const bool isToCome = HeadOf(near).queuedFor == step;
            if (isToCome || hasBeside(ChangeOf(HeadOf(near)).different)) {
                HeadOf(near).told = step;
            }
        }
    };
    if ((sides & kNorth) != 0) {
        const Word besideTop = TwiceWider(pixels.Top());
        const Word besideBoth = TwiceWider(TopRows(pixels));
        tell(strip - stride_, [&](const PixelBlock& rows) {
            return ((rows[kBlockRows - 2] & besideTop) | (rows[kBlockRows - 1] & besideBoth)) != 0;
        });
    }
    if ((sides & kSouth) != 0) {
        const Word besideBottom = TwiceWider(pixels.Bottom());
        const Word besideBoth = TwiceWider(BottomRows(pixels));
        tell(strip + stride_,
             [&](const PixelBlock& rows) { return ((rows[0] & besideBoth) | (rows[1] & besideBottom)) != 0; });
    }
    if ((sides & kWest) != 0) {
        tell(strip - 1, [&](const PixelBlock& rows) { return (AnyOf(rows) & kLastColumns) != 0; });
    }
    if ((sides & kEast) != 0) {
        tell(strip + 1, [&](const PixelBlock& rows) { return (AnyOf(rows) & kFirstColumns) != 0; });
    }
    if ((sides & kNorthWest) != 0) {
        tell(strip - stride_ - 1, [&](const PixelBlock& rows) { return (BottomRows(rows) & kLastColumns) != 0; });
    }
    if ((sides & kNorthEast) != 0) {
        tell(strip - stride_ + 1, [&](const PixelBlock& rows) { return (BottomRows(rows) & kFirstColumns) != 0; });
    }
    if ((sides & kSouthWest) != 0) {
        tell(strip + stride_ - 1, [&](const PixelBlock& rows) { return (TopRows(rows) & kLastColumns) != 0; });
    }
    if ((sides & kSouthEast) != 0) {
        tell(strip + stride_ + 1, [&](const PixelBlock& rows) { return (TopRows(rows) & kFirstColumns) != 0; });
    }
}

void ThinningHistory::WorkOut(std::int32_t strip, int step) {
    HeadOf(strip).queuedFor = 0;
    if (!GoesOnDiffering(strip, step)) {
        const PixelBlock current = LeftAfter(strip, step - 1);
        if (AnyOf(current) == 0) {
            // Nothing around it matters any more; only what was left before can.
            if (Compare(strip, step, current, current) && step < HeadOf(strip).last) {
                Queue(strip, step + 1);
            }
            return;
        }
        if (!Compare(strip, step, current, FirstColumnOf(strip, step)) && !DiffersAround(strip)) {
            return;
        }
    }
    if (step < HeadOf(strip).last || step <= LastStepAround(strip)) {
        Queue(strip, step + 1);
    }
}

// Each half of a step leaves of a pixel what depends on pixels up to one away, and leaves what the step before left if
// none of these has changed since. So where that step has taken nothing up to three away from what is different from
// before the update, the first half takes nothing up to two away from it and the second nothing next to it, and the
// same stays different: elsewhere everything happens as before. Returns whether that is so, and then notes what the
// step leaves.
bool ThinningHistory::GoesOnDiffering(std::int32_t strip, int step) {
    const Head& head = HeadOf(strip);
    if (head.changed == 0) {
        return false;
    }
    Change& change = ChangeOf(head);
    const int fresh = std::max(change.lastFresh, head.told);
    if (step - 2 < fresh) {
        return false;
    }
    if (change.nearSince <= fresh) {
        FindNear(strip, step, change);
    }
    if (HasTakenNear(strip, step, change)) {
        return false;
    }
    if (step <= change.lastBefore) {
        PixelBlock* left = step <= kAtHand ? &StepsOf(strip)[static_cast<std::size_t>(step)] : nullptr;
        if (Later* later = step > kAtHand ? LaterAt(head, step) : nullptr) {
            left = &later->left;
        }
        if (left != nullptr) {
            *left = *left ^ change.different;
        }
    }
    return true;
}

bool ThinningHistory::HasTakenNear(std::int32_t strip, int step, const Change& change) const {
    struct Taken {
        const PixelBlock& before;
        const PixelBlock& after;
        Word operator[](std::size_t row) const { return before[row] ^ after[row]; }
    };
    return change.near.AnyOf([&](int rows, int columns) {
        const std::int32_t of = strip + rows * stride_ + columns;
        return Taken{LeftAfter(of, step - 2), LeftAfter(of, step - 1)};
    });
}

// Only what is different in the strip and up to two away matters to it, as do takings no further away.
void ThinningHistory::FindNear(std::int32_t strip, int step, Change& change) const {
    BlockSurroundings different;
    Gather(different, [&](std::ptrdiff_t rows, std::ptrdiff_t columns) {
        const Head& head = HeadOf(strip + static_cast<std::int32_t>(rows * stride_ + columns));
        return head.changed == 0 ? PixelBlock{} : ChangeOf(head).different;
    });
    change.near.Find(different);
    change.nearSince = step;
}

// What the rule leaves of a strip.
PixelBlock ThinningHistory::FirstColumnOf(std::int32_t strip, int step) const {
    const std::array<const Head*, 3> heads{&HeadOf(strip - stride_), &HeadOf(strip), &HeadOf(strip + stride_)};
    const std::array<const Steps*, 3> steps{&StepsOf(strip - stride_), &StepsOf(strip), &StepsOf(strip + stride_)};
    BlockSurroundings around;
    if (step - 1 <= kAtHand) {
        Gather(around, [&](std::ptrdiff_t rows, std::ptrdiff_t columns) -> const PixelBlock& {
            const auto row = static_cast<std::size_t>(rows + 1);
            return AtHand(heads[row][columns], steps[row][columns], step - 1);
        });
    } else {
        Gather(around, [&](std::ptrdiff_t rows, std::ptrdiff_t columns) -> const PixelBlock& {
            const auto row = static_cast<std::size_t>(rows + 1);
            return LeftAfterLater(heads[row][columns], steps[row][columns], step - 1);
        });
    }
    PixelBlock left;
    if (HeadOf(strip).isAtBorder) {
        const BlockSurroundings beyond = BeyondAround(strip);
        ThinningIteration::Thin(around, &beyond, left);
    } else {
        ThinningIteration::Thin(around, nullptr, left);
    }
    return left;
}

// Notes what a step leaves and tells strips around of what has become different, or no longer is. Returns whether
// anything is.
bool ThinningHistory::Compare(std::int32_t strip, int step, const PixelBlock& current, const PixelBlock& left) {
    const PixelBlock different = left ^ LeftBefore(strip, step, current);
    const Word any = AnyOf(different);
    if (any == 0 && HeadOf(strip).changed == 0) {
        return false;
    }
    Change& change = NoteChange(strip);
    Store(strip, step, current, left);
    const PixelBlock fresh = different ^ change.different;
    if (AnyOf(fresh) != 0) {
        change.different = different;
        change.lastFresh = step;
        HeadOf(strip).differs = SidesOf(different);
        QueueAround(strip, fresh, step);
    }
    return any != 0;
}

void ThinningHistory::Store(std::int32_t strip, int step, const PixelBlock& current, const PixelBlock& left) {
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

void ThinningHistory::StoreLater(std::int32_t strip, int step, const PixelBlock& current, const PixelBlock& left) {
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

int ThinningHistory::LastStepAround(std::int32_t strip) const {
    int last = 0;
    for (const Head* head : {&HeadOf(strip - stride_), &HeadOf(strip), &HeadOf(strip + stride_)}) {
        last = std::max({last, head[-1].last, head[0].last, head[1].last});
    }
    return last;
}

bool ThinningHistory::DiffersAround(std::int32_t strip) const {
    const std::int32_t north = strip - stride_;
    const std::int32_t south = strip + stride_;
    const auto near = [&](std::int32_t other, unsigned side) { return HeadOf(other).differs & side; };
    return (near(north - 1, kSouthEast) | near(north, kSouth) | near(north + 1, kSouthWest) | near(strip - 1, kEast) |
            near(strip + 1, kWest) | near(south - 1, kNorthEast) | near(south, kNorth) | near(south + 1, kNorthWest)) !=
           0;
}

void ThinningHistory::Tidy(std::int32_t strip) {
    Head& head = HeadOf(strip);
    const Steps& steps = StepsOf(strip);
    head.changed = 0;
    head.differs = 0;
    const int atHand = std::min(head.last, kAtHand);
    if (head.later != 0) {
        std::vector<Later>& later = LaterOf(head);
        const PixelBlock* left = &steps[static_cast<std::size_t>(atHand)];
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

}  // namespace level_sweep

#include "branches/BranchPaths.h"

namespace level_sweep {
namespace {

using Word = ColumnGrid::Word;

int ShiftFor(int width) {
    int shift = 0;
    while ((std::int64_t{1} << shift) < width) {
        ++shift;
    }
    return shift;
}

}  // namespace

BranchPaths::BranchPaths(const IncrementalSkeleton& skeleton, int width, int height, int limitPx)
    : skeleton_(skeleton),
      grid_(skeleton.Grid()),
      width_(width),
      height_(height),
      rankShift_(ShiftFor(width)),
      blocksPerRow_((static_cast<std::size_t>(width) + 3) / 4),
      lines_(grid_.Words()),
      ends_(grid_.Words()),
      owner_(blocksPerRow_ * ((static_cast<std::size_t>(height) + 3) / 4) * 16),
      marks_(grid_, width, height, limitPx),
      waiting_(width, height) {}

void BranchPaths::Update() {
    RemoveEnds();
    for (const WordPixels<ColumnGrid>& change : skeleton_.LineChanges()) {
        TouchAround(change.word, change.pixels, kBeyondAll);
    }
    TouchNoted(kBeyondAll);
    for (const WordPixels<ColumnGrid>& change : skeleton_.LineChanges()) {
        Lines& at = lines_[change.word];
        at.left = (at.left | (change.pixels & ~at.taken)) & ~(change.pixels & at.left);
        at.taken &= ~change.pixels;
        at.touched &= at.taken;
    }
    for (const WordPixels<ColumnGrid>& change : skeleton_.EndChanges()) {
        const int x0 = grid_.FirstXOf(change.word);
        const int y = grid_.RowOf(change.word);
        for (Word left = change.pixels & ~ends_[change.word].traced; left != 0; left &= left - 1) {
            const int x = x0 + BitGrid::LowestBit(left);
            if (skeleton_.IsEnd(x, y)) {
                AddTrace(change.word, RankOf(x, y));
                Touch(x, y);
            }
        }
    }
    FetchTraces();
    const auto waitingIn = [&](int x, int y) -> Word& { return ends_[grid_.WordAt(x, y)].waiting; };
    while (!waiting_.IsEmpty()) {
        const RasterQueue::Position at = waiting_.TakeLast(waitingIn);
        Retrace({at.x, at.y});
    }
    toFetch_.clear();
}

// What is no end any more goes first, whatever the order: an end that has come instead mostly takes the same pixels.
void BranchPaths::RemoveEnds() {
    for (const WordPixels<ColumnGrid>& change : skeleton_.EndChanges()) {
        __builtin_prefetch(&ends_[change.word]);
        __builtin_prefetch(&lines_[change.word]);
    }
    for (const WordPixels<ColumnGrid>& change : skeleton_.EndChanges()) {
        if ((change.pixels & ends_[change.word].traced) != 0) {
            __builtin_prefetch(&traces_[static_cast<std::size_t>(ends_[change.word].first - 1)]);
        }
    }
    for (const WordPixels<ColumnGrid>& change : skeleton_.EndChanges()) {
        Word gone = change.pixels & ends_[change.word].traced;
        if (gone == 0) {
            continue;
        }
        const int x0 = grid_.FirstXOf(change.word);
        const int y = grid_.RowOf(change.word);
        for (; gone != 0; gone &= gone - 1) {
            const Rank end = RankOf(x0 + BitGrid::LowestBit(gone), y);
            const std::int32_t number = FindTrace(change.word, end);
            Release(change.word, traces_[static_cast<std::size_t>(number)], false);
            RemoveTrace(change.word, number);
            TellAround(end);
        }
    }
}

void BranchPaths::Touch(int x, int y) {
    const std::size_t word = grid_.WordAt(x, y);
    if (waiting_.Add(x, y, ends_[word].waiting) && toFetch_.size() < kMostFetched) {
        toFetch_.push_back({x, y});
        __builtin_prefetch(&lines_[word]);
        __builtin_prefetch(&owner_[OwnerAt(x, y)]);
    }
}

// The traces to be made again lie all over the picture and would be waited for one by one.
void BranchPaths::FetchTraces() {
    for (const PixelPosition end : toFetch_) {
        const std::size_t word = grid_.WordAt(end.x, end.y);
        if (ends_[word].first != 0) {
            __builtin_prefetch(&traces_[static_cast<std::size_t>(ends_[word].first - 1)]);
        }
    }
    toFetch_.clear();
}

void BranchPaths::TouchTracesOf(std::size_t word, int x0, int y, Word pixels, Rank before) {
    // The trace of a pixel that was touched before waits.
    Rank last = kBeyondAll;
    for (pixels &= ~lines_[word].touched; pixels != 0; pixels &= pixels - 1) {
        const int bit = BitGrid::LowestBit(pixels);
        const Rank owner = owner_[OwnerAt(x0 + bit, y)];
        if (owner < before) {
            lines_[word].touched |= ColumnGrid::Bit(bit);
            if (owner != last) {
                TouchRank(owner);
                last = owner;
            }
        }
    }
}

// A trace asks for pixels of lines next to its own, and for what is around these. Changes at the sides of a word, which
// reach into the next, are dealt with at once; others together with those above and below.
void BranchPaths::TouchAround(std::size_t word, Word changed, Rank before) {
    if ((changed & (Word{3} | Word{3} << 62)) != 0) {
        TouchAroundSides(word, changed, before);
        return;
    }
    if (word - noted_.first >= kNotedRows) {
        TouchNoted(before);
        noted_.first = word - kNotedRows / 2;
    }
    const std::size_t row = word - noted_.first;
    noted_.top = std::min(noted_.top, row);
    noted_.bottom = std::max(noted_.bottom, row);
    noted_.changed[row] |= changed;
}

void BranchPaths::TouchNoted(Rank before) {
    // Two rows beyond are 0 on either side.
    const std::size_t top = noted_.top;
    const std::size_t bottom = noted_.bottom;
    if (top > bottom) {
        return;
    }
    // Of the row two further up.
    const int x0 = grid_.FirstXOf(noted_.first + top - 2);
    const int y0 = grid_.RowOf(noted_.first + top - 2);
    const Lines* at = &lines_[noted_.first + top];
    Word askedAbove = 0;
    Word asked = 0;
    Word changedAbove = 0;
    Word changed = 0;
    for (std::size_t row = top; row < bottom + 5; ++row, ++at) {
        // The row two further up is done with all that is asked for in the rows beside it.
        const Word changedBelow = row <= bottom ? noted_.changed[row] : 0;
        const Word askedBelow = (DilateRow(changedAbove | changed | changedBelow) & at[-1].All()) | changed;
        const Word near = DilateRow(askedAbove | asked | askedBelow) & at[-2].taken;
        if (near != 0) {
            int x = x0;
            int y = y0 + static_cast<int>(row - top);
            for (; y >= height_; y -= static_cast<int>(grid_.ColumnStride())) {
                x += 64;  // the words go on in the next strip
            }
            TouchTracesOf(noted_.first + row - 2, x, y, near, before);
        }
        askedAbove = asked;
        asked = askedBelow;
        changedAbove = changed;
        changed = changedBelow;
    }
    std::fill(noted_.changed.begin() + top, noted_.changed.begin() + bottom + 1, Word{0});
    noted_.top = kNotedRows;
    noted_.bottom = 0;
}

void BranchPaths::TouchAroundSides(std::size_t word, Word changed, Rank before) {
    const std::size_t strip = grid_.ColumnStride();
    const Word beside = DilateRow(changed);
    std::array<Word, 5> west{};
    std::array<Word, 5> near{};
    std::array<Word, 5> east{};
    for (std::size_t i = 0; i < 3; ++i) {
        const std::size_t row = word - 1 + i;
        const Word asked = (beside & lines_[row].All()) | (i == 1 ? changed : 0);
        const Word askedWest = changed << 63 & lines_[row - strip].All();
        const Word askedEast = changed >> 63 & lines_[row + strip].All();
        for (std::size_t k = i; k < i + 3; ++k) {
            west[k] |= askedWest | askedWest >> 1 | asked << 63;
            near[k] |= DilateRow(asked) | askedWest >> 63 | askedEast << 63;
            east[k] |= askedEast | askedEast << 1 | asked >> 63;
        }
    }
    const int x0 = grid_.FirstXOf(word);
    const int y0 = grid_.RowOf(word) - 2;
    for (std::size_t i = 0; i < 5; ++i) {
        const auto touch = [&](std::size_t at, int x, Word pixels) {
            if ((pixels & lines_[at].taken) != 0) {
                TouchTracesOf(at, x, y0 + static_cast<int>(i), pixels & lines_[at].taken, before);
            }
        };
        touch(word - strip - 2 + i, x0 - 64, west[i]);
        touch(word - 2 + i, x0, near[i]);
        touch(word + strip - 2 + i, x0 + 64, east[i]);
    }
}

void BranchPaths::Retrace(PixelPosition end) {
    const std::size_t word = grid_.WordAt(end.x, end.y);
    if ((ends_[word].traced & ColumnGrid::Bit(end.x)) == 0) {
        return;  // waited before it was removed
    }
    const Rank rank = RankOf(end.x, end.y);
    Trace& trace = traces_[static_cast<std::size_t>(FindTrace(word, rank))];
    PixelPosition from = end;
    counts_.assign(1, 0);
    if (trace.size > 0) {
        const Beginning kept = Release(word, trace, !trace.forks);
        if (kept.isAll) {
            return;
        }
        from = kept.next;
        path_.Begin(PathOf(trace), kept.size, kept.last);
        counts_[0] = kept.pixels;
    } else {
        path_.Begin(end);
    }
    Follow(from, rank);
    Keep(end, trace);
    FetchTraces();
    TellAround(rank);
}

// What other traces have taken from it since is not its own any more. Up to the first pixel that was touched nothing
// that a trace asks for has changed: that much may be kept, if no fork waits there.
BranchPaths::Beginning BranchPaths::Release(std::size_t word, const Trace& trace, bool keepsBeginning) {
    const PixelPosition end = PositionOf(trace.end);
    Beginning kept{0, 0, end, end, false};
    const Word isRobbed = ends_[word].robbed & ColumnGrid::Bit(end.x);
    ends_[word].robbed ^= isRobbed;
    before_.first = word - kNotedRows / 2;
    for (PathCode::Walk walk(end, PathOf(trace), trace.size); walk.Next();) {
        const PixelPosition at = walk.At();
        const std::size_t there = grid_.WordAt(at.x, at.y);
        const Word bit = ColumnGrid::Bit(at.x);
        Lines& lines = lines_[there];
        if (keepsBeginning && (lines.taken & ~lines.touched & bit) != 0) {
            ++kept.pixels;
            kept.size = walk.Passed();
            kept.last = at;
            continue;
        }
        if (keepsBeginning) {
            keepsBeginning = false;
            kept.next = at;
        }
        // It may not be of a line any more.
        if ((lines.taken & bit) == 0 || (isRobbed != 0 && owner_[OwnerAt(at.x, at.y)] != trace.end)) {
            continue;
        }
        lines.taken ^= bit;
        lines.touched &= ~bit;
        lines.left |= bit;
        if (released_.empty() || released_.back().word != there) {
            released_.emplace_back().word = there;
        }
        released_.back().pixels |= bit;
        if (there - before_.first < kNotedRows) {
            before_.pixels[there - before_.first] |= bit;
        }
    }
    kept.isAll = keepsBeginning;
    return kept;
}

const PathCode::Code* BranchPaths::PathOf(const Trace& trace) const {
    return trace.size <= Trace::kStepsAtHand ? trace.path.data() : longPaths_.find(trace.end)->second.data();
}

// Passes on what the trace takes now and did not take before, or the other way round.
void BranchPaths::TellAround(Rank end) {
    const auto takenBefore = [&](std::size_t word) {
        return word - before_.first < kNotedRows ? before_.pixels[word - before_.first] : 0;
    };
    for (const std::size_t word : taken_) {
        const Word taken = lines_[word].mine & ~takenBefore(word);
        if (taken != 0) {
            TouchAround(word, taken, end);
        }
    }
    for (const WordPixels<ColumnGrid>& own : released_) {
        const Word left = own.pixels & ~lines_[own.word].mine;
        if (left != 0) {
            TouchAround(own.word, left, end);
        }
        if (own.word - before_.first < kNotedRows) {
            before_.pixels[own.word - before_.first] = 0;
        }
    }
    TouchNoted(end);
    for (const std::size_t word : taken_) {
        lines_[word].taken |= lines_[word].mine;
        lines_[word].mine = 0;
    }
    released_.clear();
    taken_.clear();
}

std::int32_t BranchPaths::FindTrace(std::size_t word, Rank end) const {
    std::int32_t number = ends_[word].first - 1;
    while (traces_[static_cast<std::size_t>(number)].end != end) {
        number = traces_[static_cast<std::size_t>(number)].next - 1;
    }
    return number;
}

void BranchPaths::AddTrace(std::size_t word, Rank end) {
    if (unused_.empty()) {
        unused_.push_back(static_cast<std::int32_t>(traces_.size()));
        traces_.emplace_back();
    }
    const std::int32_t number = unused_.back();
    unused_.pop_back();
    Trace& trace = traces_[static_cast<std::size_t>(number)];
    trace.end = end;
    trace.size = 0;
    trace.forks = false;
    trace.next = ends_[word].first;
    ends_[word].first = number + 1;
    const PixelPosition at = PositionOf(end);
    ends_[word].traced |= ColumnGrid::Bit(at.x);
    marks_.Add(at.x, at.y);
}

void BranchPaths::RemoveTrace(std::size_t word, std::int32_t number) {
    const Trace& trace = traces_[static_cast<std::size_t>(number)];
    std::int32_t* link = &ends_[word].first;
    while (*link != number + 1) {
        link = &traces_[static_cast<std::size_t>(*link - 1)].next;
    }
    *link = trace.next;
    unused_.push_back(number);
    const PixelPosition at = PositionOf(trace.end);
    ends_[word].traced &= ~ColumnGrid::Bit(at.x);
    marks_.Remove(at.x, at.y);
    Forget(trace);
}

// What a trace has beside itself.
void BranchPaths::Forget(const Trace& trace) {
    if (trace.size > Trace::kStepsAtHand) {
        longPaths_.erase(trace.end);
    }
}

void BranchPaths::Keep(PixelPosition end, Trace& trace) {
    Forget(trace);
    marks_.SetCounts(end.x, end.y, counts_);
    trace.forks = counts_.size() > 1;
    trace.size = path_.Size();
    if (trace.size <= Trace::kStepsAtHand) {
        std::copy_n(path_.Codes(), trace.size, trace.path.begin());
    } else {
        longPaths_[trace.end].assign(path_.Codes(), path_.Codes() + trace.size);
    }
}

}  // namespace level_sweep

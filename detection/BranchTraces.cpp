#include "BranchTraces.h"

#include "BitGrid.h"

namespace Korvane {
namespace {

using Word = StripGrid::Word;

int ShiftFor(int width) {
    int shift = 0;
    while ((std::int64_t{1} << shift) < width) {
        ++shift;
    }
    return shift;
}

Word Wider(Word bits) { return bits | bits << 1 | bits >> 1; }

Word Highest(Word bits) { return Word{1} << (63 - __builtin_clzll(bits)); }

}  // namespace

BranchTraces::BranchTraces(const NetworkSkeleton& skeleton, int width, int height, int limitPx)
    : skeleton_(skeleton),
      grid_(skeleton.Grid()),
      width_(width),
      height_(height),
      limitPx_(limitPx),
      rankShift_(ShiftFor(width)),
      blocksPerRow_((static_cast<std::size_t>(width) + 3) / 4),
      lines_(grid_.Words()),
      ends_(grid_.Words()),
      tilesPerRow_((static_cast<std::size_t>(width) + 63) / 64),
      rowsWithEnds_(tilesPerRow_ * ((static_cast<std::size_t>(height) + 63) / 64)),
      owner_(blocksPerRow_ * ((static_cast<std::size_t>(height) + 3) / 4) * 16),
      waiting_(grid_, width, height) {}

void BranchTraces::Update() {
    RemoveEnds();
    for (const WordPixels& change : skeleton_.LineChanges()) {
        TouchAround(change.word, change.pixels, kNobody);
    }
    TouchNoted(kNobody);
    for (const WordPixels& change : skeleton_.LineChanges()) {
        Lines& at = lines_[change.word];
        at.left = (at.left | (change.pixels & ~at.taken)) & ~(change.pixels & at.left);
        at.taken &= ~change.pixels;
    }
    for (const WordPixels& change : skeleton_.EndChanges()) {
        const int x0 = grid_.LeftOf(change.word);
        const int y = grid_.RowOf(change.word);
        for (Word left = change.pixels & ~ends_[change.word].traced; left != 0; left &= left - 1) {
            Touch(x0 + BitGrid::Lowest(left), y);
        }
    }
    FetchTraces();
    while (!waiting_.IsEmpty()) {
        const WaitingPixels::Position at = waiting_.TakeLast();
        Retrace({at.x, at.y});
    }
    toFetch_.clear();
}

// What is no end any more goes first, whatever the order: an end that has come instead mostly takes the same pixels.
void BranchTraces::RemoveEnds() {
    for (const WordPixels& change : skeleton_.EndChanges()) {
        __builtin_prefetch(&ends_[change.word]);
        __builtin_prefetch(&lines_[change.word]);
    }
    for (const WordPixels& change : skeleton_.EndChanges()) {
        Word gone = change.pixels & ends_[change.word].traced;
        if (gone == 0) {
            continue;
        }
        const int x0 = grid_.LeftOf(change.word);
        const int y = grid_.RowOf(change.word);
        for (; gone != 0; gone &= gone - 1) {
            const Rank end = RankOf(x0 + BitGrid::Lowest(gone), y);
            const std::int32_t number = FindTrace(change.word, end);
            Release(traces_[static_cast<std::size_t>(number)]);
            RemoveTrace(change.word, number);
            TellAround(end);
        }
    }
}

void BranchTraces::Touch(int x, int y) {
    if (waiting_.Add(x, y) && toFetch_.size() < kMostFetched) {
        toFetch_.push_back({x, y});
        const std::size_t word = grid_.WordAt(x, y);
        __builtin_prefetch(&ends_[word]);
        __builtin_prefetch(&lines_[word]);
        __builtin_prefetch(&owner_[OwnerAt(x, y)]);
    }
}

// The traces to be made again lie all over the picture and would be waited for one by one.
void BranchTraces::FetchTraces() {
    for (const PixelPosition end : toFetch_) {
        const std::size_t word = grid_.WordAt(end.x, end.y);
        if (ends_[word].first != 0) {
            __builtin_prefetch(&traces_[static_cast<std::size_t>(ends_[word].first - 1)]);
        }
    }
    toFetch_.clear();
}

// A trace begins at its end, whoever took that pixel, and takes all others that it comes to.
void BranchTraces::TouchTracesOf(std::size_t word, Word pixels, Rank before) {
    const int x0 = grid_.LeftOf(word);
    const int y = grid_.RowOf(word);
    const Word traced = lines_[word].traced;
    for (; pixels != 0; pixels &= pixels - 1) {
        const int x = x0 + BitGrid::Lowest(pixels);
        const Rank owner = owner_[OwnerAt(x, y)];
        if (owner < before) {
            TouchRank(owner);
        }
        if ((traced & StripGrid::Bit(x)) != 0 && RankOf(x, y) < before) {
            Touch(x, y);
        }
    }
}

// A trace asks for pixels of lines next to its own, and for what is around these. Changes at the sides of a word, which
// reach into the next, are dealt with at once; others together with those above and below.
void BranchTraces::TouchAround(std::size_t word, Word changed, Rank before) {
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

void BranchTraces::TouchNoted(Rank before) {
    // Two rows beyond are 0 on either side.
    const std::size_t top = noted_.top;
    const std::size_t bottom = noted_.bottom;
    const Lines* at = &lines_[noted_.first + top];
    Word askedAbove = 0;
    Word asked = 0;
    Word changedAbove = 0;
    Word changed = 0;
    for (std::size_t row = top; row < bottom + 5; ++row, ++at) {
        // The row two further up is done with all that is asked for in the rows beside it.
        const Word changedBelow = row <= bottom ? noted_.changed[row] : 0;
        const Word askedBelow = (Wider(changedAbove | changed | changedBelow) & at[-1].All()) | changed;
        const Word near = Wider(askedAbove | asked | askedBelow) & at[-2].taken;
        if (near != 0) {
            TouchTracesOf(noted_.first + row - 2, near, before);
        }
        askedAbove = asked;
        asked = askedBelow;
        changedAbove = changed;
        changed = changedBelow;
    }
    if (top <= bottom) {
        std::fill(noted_.changed.begin() + top, noted_.changed.begin() + bottom + 1, Word{0});
    }
    noted_.top = kNotedRows;
    noted_.bottom = 0;
}

void BranchTraces::TouchAroundSides(std::size_t word, Word changed, Rank before) {
    const std::size_t strip = grid_.Strip();
    const Word beside = Wider(changed);
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
            near[k] |= Wider(asked) | askedWest >> 63 | askedEast << 63;
            east[k] |= askedEast | askedEast << 1 | asked >> 63;
        }
    }
    const auto touch = [&](std::size_t at, Word pixels) {
        if ((pixels & lines_[at].taken) != 0) {
            TouchTracesOf(at, pixels & lines_[at].taken, before);
        }
    };
    for (std::size_t i = 0; i < 5; ++i) {
        touch(word - strip - 2 + i, west[i]);
        touch(word - 2 + i, near[i]);
        touch(word + strip - 2 + i, east[i]);
    }
}

void BranchTraces::Retrace(PixelPosition end) {
    if (!skeleton_.IsEnd(end.x, end.y)) {
        return;  // waited before it was removed
    }
    const std::size_t word = grid_.WordAt(end.x, end.y);
    const Rank rank = RankOf(end.x, end.y);
    const bool wasTraced = (ends_[word].traced & StripGrid::Bit(end.x)) != 0;
    const std::int32_t number = wasTraced ? FindTrace(word, rank) : AddTrace(word, rank);
    Trace& trace = traces_[static_cast<std::size_t>(number)];
    if (wasTraced) {
        Release(trace);
    }
    Follow(end, rank);
    Keep(word, trace);
    TellAround(rank);
}

// What other traces have taken from it since is not its own any more.
void BranchTraces::Release(const Trace& trace) {
    const TracePath::Code* path =
        trace.size <= Trace::kStepsAtHand ? trace.path.data() : longPaths_.find(trace.end)->second.data();
    for (TracePath::Walk walk(PositionOf(trace.end), path, trace.size); walk.Next();) {
        const PixelPosition at = walk.At();
        Rank& owner = owner_[OwnerAt(at.x, at.y)];
        if (owner != trace.end) {
            continue;
        }
        const std::size_t word = grid_.WordAt(at.x, at.y);
        const Word bit = StripGrid::Bit(at.x);
        Lines& lines = lines_[word];
        if ((lines.taken & bit) == 0) {
            owner = kNobody;  // not of a line any more
            continue;
        }
        lines.taken ^= bit;
        lines.left |= bit;
        if (released_.empty() || released_.back().word != word) {
            released_.push_back({word, 0});
        }
        released_.back().pixels |= bit;
    }
}

// Passes on what the trace takes now and did not take before, or the other way round.
void BranchTraces::TellAround(Rank end) {
    for (const WordPixels& own : released_) {
        const Word left = own.pixels & ~lines_[own.word].mine;
        if (left != 0) {
            Leave(own.word, left);
            TouchAround(own.word, left, end);
        }
    }
    for (const WordPixels& own : taken_) {
        if (own.pixels != 0) {
            TouchAround(own.word, own.pixels, end);
        }
    }
    TouchNoted(end);
    for (const WordPixels& own : taken_) {
        lines_[own.word].taken |= lines_[own.word].mine;
        lines_[own.word].mine = 0;
    }
    released_.clear();
    taken_.clear();
}

// The trace of an end that it took the pixel of takes that itself now.
void BranchTraces::Leave(std::size_t word, Word pixels) {
    const int x0 = grid_.LeftOf(word);
    const int y = grid_.RowOf(word);
    const Word traced = lines_[word].traced;
    for (; pixels != 0; pixels &= pixels - 1) {
        const int x = x0 + BitGrid::Lowest(pixels);
        Rank& owner = owner_[OwnerAt(x, y)];
        if ((traced & StripGrid::Bit(x)) != 0 && RankOf(x, y) != owner) {
            Touch(x, y);
        }
        owner = kNobody;
    }
}

std::int32_t BranchTraces::FindTrace(std::size_t word, Rank end) const {
    std::int32_t number = ends_[word].first - 1;
    while (traces_[static_cast<std::size_t>(number)].end != end) {
        number = traces_[static_cast<std::size_t>(number)].next - 1;
    }
    return number;
}

std::int32_t BranchTraces::AddTrace(std::size_t word, Rank end) {
    if (unused_.empty()) {
        unused_.push_back(static_cast<std::int32_t>(traces_.size()));
        traces_.emplace_back();
    }
    const std::int32_t number = unused_.back();
    unused_.pop_back();
    Trace& trace = traces_[static_cast<std::size_t>(number)];
    trace.end = end;
    trace.size = 0;
    trace.next = ends_[word].first;
    ends_[word].first = number + 1;
    const PixelPosition at = PositionOf(end);
    lines_[word].traced |= StripGrid::Bit(at.x);
    ends_[word].traced |= StripGrid::Bit(at.x);
    rowsWithEnds_[TileAt(at.x, at.y)] |= StripGrid::Bit(at.y);
    return number;
}

void BranchTraces::RemoveTrace(std::size_t word, std::int32_t number) {
    const Trace& trace = traces_[static_cast<std::size_t>(number)];
    std::int32_t* link = &ends_[word].first;
    while (*link != number + 1) {
        link = &traces_[static_cast<std::size_t>(*link - 1)].next;
    }
    *link = trace.next;
    unused_.push_back(number);
    const PixelPosition at = PositionOf(trace.end);
    lines_[word].traced &= ~StripGrid::Bit(at.x);
    ends_[word].traced &= ~StripGrid::Bit(at.x);
    ends_[word].isLong &= ~StripGrid::Bit(at.x);
    if (ends_[word].traced == 0) {
        rowsWithEnds_[TileAt(at.x, at.y)] &= ~StripGrid::Bit(at.y);
    }
    Forget(word, trace);
}

// What a trace has beside itself.
void BranchTraces::Forget(std::size_t word, const Trace& trace) {
    const Word bit = StripGrid::Bit(PositionOf(trace.end).x);
    if (trace.size > Trace::kStepsAtHand) {
        longPaths_.erase(trace.end);
    }
    if ((ends_[word].forks & bit) != 0) {
        ends_[word].forks &= ~bit;
        forkCounts_.erase(trace.end);
    }
}

void BranchTraces::Keep(std::size_t word, Trace& trace) {
    Forget(word, trace);
    const Word bit = StripGrid::Bit(PositionOf(trace.end).x);
    Ends& ends = ends_[word];
    ends.isLong = counts_[0] > limitPx_ ? ends.isLong | bit : ends.isLong & ~bit;
    if (counts_.size() > 1) {
        ends.forks |= bit;
        forkCounts_[trace.end] = counts_;
    }
    trace.size = path_.Size();
    if (trace.size <= Trace::kStepsAtHand) {
        std::copy_n(path_.Codes(), trace.size, trace.path.begin());
    } else {
        longPaths_[trace.end].assign(path_.Codes(), path_.Codes() + trace.size);
    }
}

// Counts go to consecutive numbers from the last end's downwards, so a fork moves all that come after it on by one end.
// What is left over when there are no more ends marks the map's first pixel.
MarkedBranches BranchTraces::MarkFound() {
    MarkedBranches marked;
    longOnes_.clear();
    std::size_t next = 0;
    std::size_t ends = 0;
    std::size_t forks = 0;
    for (const FoundEnds& found : found_) {
        const Ends& at = ends_[found.word];
        // Numbers matter from the first fork on.
        if (forks == 0 && (at.forks & found.ends) == 0) {
            for (Word left = found.ends & at.isLong; left != 0; left ^= Highest(left)) {
                marked.ends.push_back({found.x0 + BitGrid::Lowest(Highest(left)), found.y});
            }
            continue;
        }
        const std::size_t before = ends;
        ends += static_cast<std::size_t>(__builtin_popcountll(found.ends));
        forks += NoteLongOnes(found, before + forks);
        Word left = found.ends;
        for (std::size_t end = before; next < longOnes_.size() && longOnes_[next] < ends; ++next) {
            for (; end < longOnes_[next]; ++end) {
                left ^= Highest(left);
            }
            marked.ends.push_back({found.x0 + BitGrid::Lowest(Highest(left)), found.y});
        }
    }
    marked.mapOrigin = next < longOnes_.size();
    return marked;
}

// Notes the numbers, from `number` on, of the counts above the limit; returns how many more counts than ends there are.
std::size_t BranchTraces::NoteLongOnes(const FoundEnds& found, std::size_t number) {
    const Ends& ends = ends_[found.word];
    if ((ends.forks & found.ends) == 0) {
        for (Word left = ends.isLong & found.ends; left != 0; left ^= Highest(left)) {
            const Word further = found.ends & ~(Highest(left) | (Highest(left) - 1));
            longOnes_.push_back(number + static_cast<std::size_t>(__builtin_popcountll(further)));
        }
        return 0;
    }
    const std::size_t first = number;
    for (Word left = found.ends; left != 0; left ^= Highest(left)) {
        const int x = found.x0 + BitGrid::Lowest(Highest(left));
        if ((ends.forks & Highest(left)) == 0) {
            if ((ends.isLong & Highest(left)) != 0) {
                longOnes_.push_back(number);
            }
            ++number;
            continue;
        }
        for (const std::int32_t count : forkCounts_[RankOf(x, found.y)]) {
            if (count > limitPx_) {
                longOnes_.push_back(number);
            }
            ++number;
        }
    }
    return number - first - static_cast<std::size_t>(__builtin_popcountll(found.ends));
}

}  // namespace Korvane

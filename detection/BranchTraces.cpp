#include "BranchTraces.h"

#include "BitGrid.h"
#include "NeighbourGroups.h"

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

void AddTo(std::vector<WordPixels>& list, std::size_t word, Word pixels) {
    if (list.empty() || list.back().word != word) {
        list.push_back({word, 0});
    }
    list.back().pixels |= pixels;
}

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
      owner_(blocksPerRow_ * ((static_cast<std::size_t>(height) + 3) / 4) * 16),
      waiting_(grid_, width, height) {}

void BranchTraces::Update() {
    for (const WordPixels& change : skeleton_.LineChanges()) {
        lines_[change.word].lines ^= change.pixels;
    }
    for (const WordPixels& change : skeleton_.LineChanges()) {
        TouchTracesAround(change.word, change.pixels, kNobody);
    }
    for (const WordPixels& change : skeleton_.EndChanges()) {
        const int x0 = grid_.LeftOf(change.word);
        const int y = grid_.RowOf(change.word);
        for (Word left = change.pixels; left != 0; left &= left - 1) {
            waiting_.Add(x0 + BitGrid::Lowest(left), y);
        }
    }
    while (!waiting_.IsEmpty()) {
        const WaitingPixels::Position at = waiting_.TakeLast();
        Retrace({at.x, at.y});
    }
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
            Touch(owner);
        }
        if ((traced & StripGrid::Bit(x)) != 0 && RankOf(x, y) < before) {
            waiting_.Add(x, y);
        }
    }
}

// A trace asks for pixels of lines next to its own, and for what is around these.
void BranchTraces::TouchTracesAround(std::size_t word, Word changed, Rank before) {
    const std::size_t strip = grid_.Strip();
    const Word beside = Wider(changed);
    const Lines* at = &lines_[word];
    std::array<Word, 3> asked{beside & at[-1].lines, (beside & at[0].lines) | changed, beside & at[1].lines};
    std::array<Word, 3> near{Wider(asked[0]), Wider(asked[1]), Wider(asked[2])};
    if ((changed & (Word{3} | Word{3} << 62)) != 0) {
        std::array<Word, 3> west{};
        std::array<Word, 3> east{};
        for (std::size_t i = 0; i < 3; ++i) {
            const Word askedWest = changed << 63 & lines_[word - strip - 1 + i].lines;
            const Word askedEast = changed >> 63 & lines_[word + strip - 1 + i].lines;
            west[i] = askedWest | askedWest >> 1 | asked[i] << 63;
            east[i] = askedEast | askedEast << 1 | asked[i] >> 63;
            near[i] |= askedWest >> 63 | askedEast << 63;
        }
        TouchTracesNear(word - strip, west, before);
        TouchTracesNear(word + strip, east, before);
    }
    TouchTracesNear(word, near, before);
}

// The traces with pixels in the rows of what is given, or the rows next to these.
void BranchTraces::TouchTracesNear(std::size_t word, const std::array<Word, 3>& near, Rank before) {
    const std::array<Word, 5> rows{near[0], near[0] | near[1], near[0] | near[1] | near[2], near[1] | near[2], near[2]};
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const Lines& at = lines_[word - 2 + i];
        const Word taken = rows[i] & at.taken & ~at.mine;
        if (taken != 0) {
            TouchTracesOf(word - 2 + i, taken, before);
        }
    }
}

void BranchTraces::Retrace(PixelPosition end) {
    const std::size_t word = grid_.WordAt(end.x, end.y);
    const Rank rank = RankOf(end.x, end.y);
    const bool wasTraced = (lines_[word].traced & StripGrid::Bit(end.x)) != 0;
    const bool isEnd = skeleton_.IsEnd(end.x, end.y);
    if (!wasTraced && !isEnd) {
        return;
    }
    const std::int32_t number = wasTraced ? FindTrace(word, rank) : AddTrace(word, rank);
    Trace& trace = traces_[static_cast<std::size_t>(number)];
    if (wasTraced) {
        Release(trace);
    }
    if (isEnd) {
        Follow(end, rank);
        Keep(word, trace);
    } else {
        RemoveTrace(word, number);
    }
    TellAround(rank);
}

// What other traces have taken from it since is not its own any more.
void BranchTraces::Release(const Trace& trace) {
    const auto release = [&](PixelPosition at) {
        if (owner_[OwnerAt(at.x, at.y)] == trace.end) {
            const std::size_t word = grid_.WordAt(at.x, at.y);
            lines_[word].taken &= ~StripGrid::Bit(at.x);
            AddTo(released_, word, StripGrid::Bit(at.x));
        }
    };
    const TracePath::Code* path =
        trace.size <= Trace::kStepsAtHand ? trace.path.data() : longPaths_.find(trace.end)->second.data();
    TracePath::ForEach(PositionOf(trace.end), path, trace.size, release);
}

// Which of the pixels around are of a line and there for the trace of an end; bit i stands for kAround[i].
unsigned BranchTraces::OpenAround(int x, int y, Rank end) const {
    const int bit = x & 63;
    const Lines* at = &lines_[grid_.WordAt(x, y)];
    const auto three = [&](Word west, Word centre, Word east) {
        const Word bits = bit == 0 ? centre << 1 | west >> 63 : centre >> (bit - 1) | (bit == 63 ? east << 2 : 0);
        return static_cast<unsigned>(bits & 7u);
    };
    unsigned open = 0;
    unsigned byOthers = 0;
    const bool isInside = bit != 0 && bit != 63;
    const auto strip = static_cast<std::ptrdiff_t>(isInside ? 0 : grid_.Strip());
    for (int row = 0; row < 3; ++row) {
        const Lines* centre = at + row - 1;
        const auto left = [&](const Lines* words) { return words->lines & ~words->mine; };
        const auto taken = [&](const Lines* words) { return words->taken & ~words->mine; };
        open |= three(left(centre - strip), left(centre), left(centre + strip)) << 3 * row;
        byOthers |= three(taken(centre - strip), taken(centre), taken(centre + strip)) << 3 * row;
    }
    for (unsigned asked = open & byOthers; asked != 0; asked &= asked - 1) {
        const int i = __builtin_ctz(asked);
        if (owner_[OwnerAt(x + i % 3 - 1, y + i / 3 - 1)] > end) {
            open &= ~(1u << i);
        }
    }
    return (open & 15u) | (open >> 5 << 4);
}

// Which of the pixels around are beyond the picture: they count as there.
unsigned BranchTraces::BeyondAround(int x, int y) const {
    unsigned beyond = 0;
    if (x > 0 && x + 1 < width_ && y > 0 && y + 1 < height_) {
        return beyond;
    }
    for (unsigned i = 0; i < 8; ++i) {
        const int u = x + kAround[i].dx;
        const int v = y + kAround[i].dy;
        beyond |= (u < 0 || u >= width_ || v < 0 || v >= height_ ? 1u : 0u) << i;
    }
    return beyond;
}

// What a trace of an end before this one took is taken from it, and that trace made again later on.
void BranchTraces::Take(PixelPosition at, Rank end) {
    const std::size_t word = grid_.WordAt(at.x, at.y);
    const Word bit = StripGrid::Bit(at.x);
    Lines& lines = lines_[word];
    Rank& owner = owner_[OwnerAt(at.x, at.y)];
    const bool isTaken = (lines.taken & bit) != 0;
    if ((lines.mine & bit) != 0 || (isTaken && owner > end)) {
        return;
    }
    if (isTaken) {
        Touch(owner);
    }
    if ((lines.traced & bit) != 0 && RankOf(at.x, at.y) != end) {
        waiting_.Add(at.x, at.y);
    }
    if (isTaken || owner != end) {
        AddTo(fresh_, word, bit);
    }
    owner = end;
    lines.taken |= bit;
    lines.mine |= bit;
    AddTo(taken_, word, bit);
    path_.Add(at);
}

void BranchTraces::Follow(PixelPosition end, Rank rank) {
    path_.Begin(end);
    counts_.assign(1, 0);
    stack_.assign(1, end);
    while (true) {
        const PixelPosition at = stack_.back();
        stack_.pop_back();
        Take(at, rank);
        ++counts_.back();
        const std::size_t before = stack_.size();
        for (unsigned open = OpenAround(at.x, at.y, rank); open != 0; open &= open - 1) {
            const Step& step = kAround[static_cast<std::size_t>(__builtin_ctz(open))];
            const PixelPosition near{at.x + step.dx, at.y + step.dy};
            // The next pixel of a line has one thing around it: what lies ahead.
            if (kNeighbourGroups[OpenAround(near.x, near.y, rank) | BeyondAround(near.x, near.y)] == 1) {
                stack_.push_back(near);
            }
        }
        if (stack_.empty()) {
            return;
        }
        if (stack_.size() == before) {
            counts_.push_back(0);
        }
    }
}

// Passes on what the trace takes now and did not take before, or the other way round.
void BranchTraces::TellAround(Rank end) {
    for (const WordPixels& own : released_) {
        const Lines& at = lines_[own.word];
        const Word left = own.pixels & ~at.mine;
        const int x0 = grid_.LeftOf(own.word);
        const int y = grid_.RowOf(own.word);
        for (Word bits = left; bits != 0; bits &= bits - 1) {
            const int x = x0 + BitGrid::Lowest(bits);
            // A pixel may have been stale: it is taken again by nobody but this trace.
            Rank& owner = owner_[OwnerAt(x, y)];
            owner = kNobody;
            if ((at.traced & StripGrid::Bit(x)) != 0 && RankOf(x, y) != end) {
                waiting_.Add(x, y);
            }
        }
        if (left != 0) {
            TouchTracesAround(own.word, left, end);
        }
    }
    for (const WordPixels& own : fresh_) {
        TouchTracesAround(own.word, own.pixels, end);
    }
    for (const WordPixels& own : taken_) {
        lines_[own.word].mine = 0;
    }
    released_.clear();
    fresh_.clear();
    taken_.clear();
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
    lines_[word].traced |= StripGrid::Bit(PositionOf(end).x);
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
    const Word bit = StripGrid::Bit(PositionOf(trace.end).x);
    lines_[word].traced &= ~bit;
    ends_[word].isLong &= ~bit;
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
    const std::vector<TracePath::Code>& codes = path_.Codes();
    trace.size = codes.size();
    if (trace.size <= Trace::kStepsAtHand) {
        std::copy(codes.begin(), codes.end(), trace.path.begin());
    } else {
        longPaths_[trace.end] = codes;
    }
}

// Counts go to consecutive numbers from the last end's downwards, so a fork moves all that come after it on by one end.
// What is left over when there are no more ends marks the map's first pixel.
MarkedBranches BranchTraces::MarkFound() {
    MarkedBranches marked;
    late_.clear();
    for (const FoundEnds& found : found_) {
        const Ends& ends = ends_[grid_.WordAt(found.x0, found.y)];
        const bool isPlain = late_.empty() && (ends.forks & found.ends) == 0;
        Word left = isPlain ? found.ends & ends.isLong : found.ends;
        while (left != 0) {
            const PixelPosition at{found.x0 + 63 - __builtin_clzll(left), found.y};
            left ^= StripGrid::Bit(at.x);
            if (isPlain || IsMarkedLate(at, ends)) {
                marked.ends.push_back(at);
            }
        }
    }
    marked.mapOrigin = std::find(late_.begin(), late_.end(), true) != late_.end();
    return marked;
}

// Whether an end is marked when counts of those before it are left over.
bool BranchTraces::IsMarkedLate(PixelPosition end, const Ends& ends) {
    if ((ends.forks & StripGrid::Bit(end.x)) == 0) {
        late_.push_back((ends.isLong & StripGrid::Bit(end.x)) != 0);
    } else {
        for (const std::int32_t count : forkCounts_[RankOf(end.x, end.y)]) {
            late_.push_back(count > limitPx_);
        }
    }
    const bool isMarked = late_.front();
    late_.pop_front();
    return isMarked;
}

}  // namespace Korvane

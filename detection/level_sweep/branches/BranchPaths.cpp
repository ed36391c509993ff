#include "branches/BranchPaths.h"

#include "Assert.h"
#include "bits/BitGrid.h"

namespace level_sweep {

BranchPaths::BranchPaths(const IncrementalSkeleton& skeleton, int width, int height, int limitPx)
    : skeleton_(skeleton),
      grid_(skeleton.Grid()),
      order_(width),
      lines_(grid_, width, height),
      paths_(grid_, order_),
      tracer_(lines_, width, height),
      affected_(lines_, height),
      marks_(grid_, width, height, limitPx),
      queue_(width, height) {}

void BranchPaths::Update() {
    RemoveEnds();
    affected_.Begin(RasterOrder::kBeyondAll);
    for (const WordPixels<ColumnGrid>& change : skeleton_.LineChanges()) {
        affected_.Add(change.word, change.pixels);
    }
    QueueAffected();
    for (const WordPixels<ColumnGrid>& change : skeleton_.LineChanges()) {
        lines_.Change(change.word, change.pixels);
    }
    AddEnds();
    FetchPaths();
    while (!queue_.IsEmpty()) {
        Retrace(queue_.TakeLast());
    }
    toFetch_.clear();
}

// Ends that have gone leave first, whatever the order: an end that has come instead mostly takes the same pixels.
void BranchPaths::RemoveEnds() {
    for (const WordPixels<ColumnGrid>& change : skeleton_.EndChanges()) {
        paths_.PrefetchWord(change.word);
        lines_.Prefetch(change.word);
    }
    for (const WordPixels<ColumnGrid>& change : skeleton_.EndChanges()) {
        if ((change.pixels & paths_.EndsIn(change.word)) != 0) {
            paths_.PrefetchPath(change.word);
        }
    }
    for (const WordPixels<ColumnGrid>& change : skeleton_.EndChanges()) {
        const int x0 = grid_.FirstXOf(change.word);
        const int y = grid_.RowOf(change.word);
        for (Word gone = change.pixels & paths_.EndsIn(change.word); gone != 0; gone &= gone - 1) {
            const int x = x0 + BitGrid::LowestBit(gone);
            const Rank end = order_.RankOf(x, y);
            Release({x, y}, paths_.PathOf(change.word, end), Keep::Nothing);
            paths_.Remove(change.word, end);
            marks_.Remove(x, y);
            QueueAroundChanges(end);
        }
    }
}

void BranchPaths::AddEnds() {
    for (const WordPixels<ColumnGrid>& change : skeleton_.EndChanges()) {
        const int x0 = grid_.FirstXOf(change.word);
        const int y = grid_.RowOf(change.word);
        const Word come = change.pixels & ~paths_.EndsIn(change.word) & skeleton_.EndsIn(change.word);
        for (Word left = come; left != 0; left &= left - 1) {
            const int x = x0 + BitGrid::LowestBit(left);
            paths_.Add(change.word, order_.RankOf(x, y));
            marks_.Add(x, y);
            Queue(order_.RankOf(x, y));
        }
    }
}

void BranchPaths::Queue(Rank end) {
    const PixelPosition at = order_.PositionOf(end);
    if (queue_.Add(at.x, at.y) && toFetch_.size() < kMostFetched) {
        toFetch_.push_back(at);
        paths_.PrefetchWord(grid_.WordAt(at.x, at.y));
        lines_.Prefetch(at.x, at.y);
    }
}

void BranchPaths::QueueAffected() {
    for (const Rank end : affected_.Finish()) {
        Queue(end);
    }
}

// The paths to be traced again lie all over memory and would be waited for one by one.
void BranchPaths::FetchPaths() {
    for (const PixelPosition end : toFetch_) {
        paths_.PrefetchPath(grid_.WordAt(end.x, end.y));
    }
    toFetch_.clear();
}

void BranchPaths::Retrace(PixelPosition end) {
    const std::size_t word = grid_.WordAt(end.x, end.y);
    if ((paths_.EndsIn(word) & ColumnGrid::Bit(end.x)) == 0) {
        return;  // was queued before it was removed
    }
    const Rank rank = order_.RankOf(end.x, end.y);
    PathStore::Path& path = paths_.PathOf(word, rank);
    PixelPosition from = end;
    if (path.size > 0) {
        // The pixels that waited at a fork are not kept.
        const Beginning kept = Release(end, path, path.forks ? Keep::Nothing : Keep::Beginning);
        if (kept.isAll) {
            return;
        }
        from = kept.next;
        tracer_.Start(paths_.CodesOf(path), kept.size, kept.last, kept.pixels);
    } else {
        tracer_.Start(end);
    }
    tracer_.Trace(from, rank);
    for (const Rank losing : tracer_.LosingEnds()) {
        const PixelPosition at = order_.PositionOf(losing);
        paths_.NoteLoss(grid_.WordAt(at.x, at.y), at.x);
        Queue(losing);
    }
    marks_.SetCounts(end.x, end.y, tracer_.Counts());
    paths_.Keep(path, tracer_.Path(), tracer_.Counts().size());
    FetchPaths();
    QueueAroundChanges(rank);
}

// Releases the pixels of a path, but for those to be kept: the ones before its first stale pixel. A pixel that the path
// has lost comes after a stale one, as the path that took it affected this one. Only a path that has lost pixels has to
// be asked which of them are still its own.
BranchPaths::Beginning BranchPaths::Release(PixelPosition end, const PathStore::Path& path, Keep keep) {
    Beginning kept{0, 0, end, end, false};
    const std::size_t word = grid_.WordAt(end.x, end.y);
    const bool hasLostPixels = paths_.TakeLoss(word, end.x);
    bool keeps = keep == Keep::Beginning;
    released_.Begin(word);
    for (PathCode::Walk walk(end, paths_.CodesOf(path), path.size); walk.Next();) {
        const PixelPosition at = walk.At();
        const std::size_t there = grid_.WordAt(at.x, at.y);
        const Word bit = ColumnGrid::Bit(at.x);
        const LinePixels::Lines& lines = lines_[there];
        if (keeps && (lines.taken & ~lines.stale & bit) != 0) {
            ++kept.pixels;
            kept.size = walk.SizeSoFar();
            kept.last = at;
            continue;
        }
        if (keeps) {
            keeps = false;
            kept.next = at;
        }
        // It may have left the lines.
        if ((lines.taken & bit) == 0 || (hasLostPixels && lines_.OwnerOf(at.x, at.y) != path.end)) {
            continue;
        }
        lines_.Release(there, bit);
        released_.Add(there, bit);
    }
    kept.isAll = keeps;
    return kept;
}

// Queues the paths of ends before this one that are near pixels which its path has taken and had not before, or has
// released and not taken again.
void BranchPaths::QueueAroundChanges(Rank end) {
    affected_.Begin(end);
    for (const std::size_t word : tracer_.Words()) {
        const Word taken = lines_[word].current & ~released_.Near(word);
        if (taken != 0) {
            affected_.Add(word, taken);
        }
    }
    for (const WordPixels<ColumnGrid>& part : released_.Parts()) {
        const Word left = part.pixels & ~lines_[part.word].current;
        if (left != 0) {
            affected_.Add(part.word, left);
        }
    }
    released_.Clear();
    QueueAffected();
    tracer_.Complete();
}

void BranchPaths::CheckInvariants() const {
    lines_.CheckInvariants();
    paths_.CheckInvariants();
    affected_.CheckInvariants();
    marks_.CheckInvariants();
    KORVANE_ASSERT(queue_.IsEmpty() && released_.Parts().empty() && tracer_.Words().empty());  // 4
    std::size_t taken = 0;
    for (std::size_t word = 0; word < grid_.Words(); ++word) {
        const LinePixels::Lines& lines = lines_[word];
        KORVANE_ASSERT(lines.All() == skeleton_.LinesIn(word));         // 1
        KORVANE_ASSERT(paths_.EndsIn(word) == skeleton_.EndsIn(word));  // 2
        KORVANE_ASSERT(marks_.EndsIn(word) == skeleton_.EndsIn(word));  // 2
        KORVANE_ASSERT(lines.stale == 0);                               // 4
        taken += static_cast<std::size_t>(__builtin_popcountll(lines.taken));
    }
    std::size_t ofPaths = 0;
    paths_.ForEachPath([&](const PathStore::Path& path) {
        for (PathCode::Walk walk(order_.PositionOf(path.end), paths_.CodesOf(path), path.size); walk.Next();
             ++ofPaths) {
            const PixelPosition at = walk.At();
            KORVANE_ASSERT((lines_[grid_.WordAt(at.x, at.y)].taken & ColumnGrid::Bit(at.x)) != 0);  // 3
            KORVANE_ASSERT(lines_.OwnerOf(at.x, at.y) == path.end);                                 // 3
        }
    });
    KORVANE_ASSERT(ofPaths == taken);  // 3
}

}  // namespace level_sweep

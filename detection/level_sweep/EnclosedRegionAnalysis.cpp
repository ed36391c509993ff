#include "EnclosedRegionAnalysis.h"

#include <algorithm>

#include "enclosed/EllipticElement.h"

namespace level_sweep {
EnclosedRegionAnalysis::EnclosedRegionAnalysis(const BitPlane& background, int longBranchPx)
    : width_(background.Width()),
      height_(background.Height()),
      touched_(background, BitPlane(width_, height_)),
      skeleton_(width_, height_),
      distance_(width_, height_),
      traces_(skeleton_, width_, height_, longBranchPx),
      enclosed_(width_, height_),
      candidates_(enclosed_.Grid().Words()),
      rings_(enclosed_.Grid().Words()) {}

void EnclosedRegionAnalysis::Analyse(const std::vector<WordPart>& component) {
    touched_.Touch(component);
    UpdateSkeleton();
    const MarkedBranches branches = MarkBranches();
    MarkCandidates(component);
    const bool clears = !branches.ends.empty() || branches.mapOrigin;
    const int size = clears ? LargestDistanceOfVisited() : 0;
    touched_.Settle();
    ClearAround(branches, size);
#ifdef KORVANE_ASSERTIONS
    constexpr int mostPixels = 1 << 12;  // a check costs as much as thinning the whole map
    if (width_ <= mostPixels / height_) {
        CheckInvariants();
    }
#endif
}

void EnclosedRegionAnalysis::CheckInvariants() const {
    skeleton_.CheckInvariants();
    traces_.CheckInvariants();
}

// The skeleton's set is what was visited, now or earlier. What is next to the visited, but not visited now, leaves it,
// so that the visited is thinned as if it were alone. It can only lie behind a visited patch.
void EnclosedRegionAnalysis::UpdateSkeleton() {
    touched_.DropBesideVisited([&](std::int32_t word, BitGrid::Word pixels) {
        skeleton_.Remove(word, pixels);
        distance_.Remove(word, pixels);
    });
    touched_.AddVisited([&](std::int32_t word, BitGrid::Word pixels) {
        skeleton_.Add(word, pixels);
        distance_.Add(word, pixels);
    });
    skeleton_.Update();
    traces_.Update();
}

MarkedBranches EnclosedRegionAnalysis::MarkBranches() {
    // Rows are asked for from the last one up.
    return traces_.Marked(touched_.VisitedTiles(), [&](int x0, int y0, int row) {
        const BitGrid::Word* rows = touched_.VisitedRows(distance_.TileAt(x0, y0));
        __builtin_prefetch(rows + std::max(row - 8, 0));
        return rows[row];
    });
}

int EnclosedRegionAnalysis::LargestDistanceOfVisited() {
    parts_.clear();
    for (const TouchedNetwork::VisitedTile& tile : touched_.VisitedTiles()) {
        const std::int32_t number = distance_.TileAt(tile.x0, tile.y0);
        parts_.push_back({number, touched_.VisitedRows(number)});
    }
    return distance_.Largest(parts_);
}

void EnclosedRegionAnalysis::MarkCandidates(const std::vector<WordPart>& component) {
    const auto linesIn = [&](int column, int y) {
        const BitGrid::Word lines = traces_.LinesLeftIn(column, y);
        return lines == 0 ? lines : lines & touched_.VisitedIn(column, y);
    };
    enclosed_.Find(component, linesIn, [&](std::size_t word, BitGrid::Word inside, BitGrid::Word ring) {
        rings_[word] |= ring;
        candidates_[word] = (candidates_[word] | inside) & ~rings_[word];
    });
}

const std::vector<RowSpan>& EnclosedRegionAnalysis::Ellipse(int size) {
    std::vector<RowSpan>& spans = ellipses_[size];
    if (spans.empty()) {
        spans = ReflectedEllipticElement(size);
    }
    return spans;
}

void EnclosedRegionAnalysis::ClearAround(const MarkedBranches& branches, int size) {
    if (size == 0) {
        return;
    }
    const std::vector<RowSpan>& spans = Ellipse(size);
    const auto clear = [&](int endX, int endY) {
        for (const RowSpan& span : spans) {
            const PixelRun run{endY + span.dy, std::max(endX + span.dx0, 0), std::min(endX + span.dx1, width_ - 1)};
            if (run.y >= 0 && run.y < height_ && run.x0 <= run.x1) {
                touched_.Clear(run);
            }
        }
    };
    constexpr std::size_t ahead = 3;
    for (std::size_t i = 0; i < branches.ends.size(); ++i) {
        if (i + ahead < branches.ends.size()) {
            touched_.FetchAround(branches.ends[i + ahead].x, branches.ends[i + ahead].y);
        }
        clear(branches.ends[i].x, branches.ends[i].y);
    }
    if (branches.mapOrigin) {
        clear(0, 0);
    }
}

}  // namespace level_sweep

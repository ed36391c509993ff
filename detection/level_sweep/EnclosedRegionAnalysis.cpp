#include "EnclosedRegionAnalysis.h"

#include <algorithm>

#include "Assert.h"
#include "enclosed/EllipticElement.h"

namespace level_sweep {

EnclosedRegionAnalysis::EnclosedRegionAnalysis(const BitPlane& background, int longBranchPx)
    : width_(background.Width()),
      height_(background.Height()),
      touched_(background, BitPlane(width_, height_)),
      skeleton_(width_, height_),
      distance_(width_, height_),
      paths_(skeleton_, width_, height_, longBranchPx),
      enclosed_(width_, height_),
      candidates_(enclosed_.Grid().Words()),
      rings_(enclosed_.Grid().Words()) {}

void EnclosedRegionAnalysis::Analyse(const std::vector<WordPixels<BitGrid>>& component) {
    touched_.Touch(component);
    UpdateSkeleton();
    const MarkedBranches branches = MarkBranches();
    MarkCandidates(component);
    const bool clears = !branches.ends.empty() || branches.mapOrigin;
    const int size = clears ? LargestDistanceOfFlooded() : 0;
    touched_.Settle();
    ClearAround(branches, size);
#ifdef KORVANE_ASSERTIONS
    constexpr int mostPixels = 1 << 12;  // a check costs as much as thinning the whole map
    if (width_ <= mostPixels / height_) {
        CheckInvariants();
    }
#endif
}

// The skeleton's set contains what this analysis and earlier ones touched. Pixels next to the touched background that are
// not part of it leave the set, so that the touched background is thinned as if it were alone; pixels further away have
// no influence.
void EnclosedRegionAnalysis::UpdateSkeleton() {
    touched_.UpdateKnown(
        [&](std::int32_t word, Word pixels) {
            skeleton_.Remove(word, pixels);
            distance_.Remove(word, pixels);
        },
        [&](std::int32_t word, Word pixels) {
            skeleton_.Add(word, pixels);
            distance_.Add(word, pixels);
        });
    skeleton_.Update();
    paths_.Update();
}

MarkedBranches EnclosedRegionAnalysis::MarkBranches() {
    // Rows are read from the last one up.
    return paths_.Marked(touched_.FloodedTiles(), [&](int x0, int y0, int row) {
        const Word* rows = touched_.FloodedRows(distance_.TileAt(x0, y0));
        __builtin_prefetch(rows + std::max(row - 8, 0));
        return rows[row];
    });
}

int EnclosedRegionAnalysis::LargestDistanceOfFlooded() {
    parts_.clear();
    for (const FloodMarks::FloodedTile& tile : touched_.FloodedTiles()) {
        const std::int32_t number = distance_.TileAt(tile.x0, tile.y0);
        parts_.push_back({number, touched_.FloodedRows(number)});
    }
    return distance_.Largest(parts_);
}

void EnclosedRegionAnalysis::MarkCandidates(const std::vector<WordPixels<BitGrid>>& component) {
    const auto linesIn = [&](int column, int y) {
        const Word lines = paths_.LinesLeftIn(column, y);
        return lines == 0 ? lines : lines & touched_.FloodedIn(column, y);
    };
    enclosed_.Find(component, linesIn, [&](std::size_t word, Word inside, Word ring) {
        rings_[word] |= ring;
        candidates_[word] = (candidates_[word] | inside) & ~rings_[word];
    });
}

void EnclosedRegionAnalysis::CheckInvariants() const {
#ifdef KORVANE_ASSERTIONS
    for (int y = 0; y < height_; ++y) {
        for (int column = 0; column * 64 < width_; ++column) {
            KORVANE_ASSERT((CandidatesIn(column, y) & RingsIn(column, y)) == 0);
            KORVANE_ASSERT((BackgroundIn(column, y) & TouchedIn(column, y)) == 0);
        }
    }
    touched_.CheckInvariants();
    skeleton_.CheckInvariants();
    paths_.CheckInvariants();
    distance_.CheckInvariants();
    enclosed_.CheckInvariants();
#endif
}

const std::vector<PixelRun>& EnclosedRegionAnalysis::Ellipse(int size) {
    std::vector<PixelRun>& runs = ellipses_[size];
    if (runs.empty()) {
        runs = ReflectedEllipticElement(size);
    }
    return runs;
}

void EnclosedRegionAnalysis::ClearAround(const MarkedBranches& branches, int size) {
    if (size == 0) {
        return;
    }
    const std::vector<PixelRun>& runs = Ellipse(size);
    const auto clear = [&](int endX, int endY) {
        for (const PixelRun& row : runs) {
            const PixelRun run{endY + row.y, std::max(endX + row.x0, 0), std::min(endX + row.x1, width_ - 1)};
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

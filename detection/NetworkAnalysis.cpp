#include "NetworkAnalysis.h"

#include <algorithm>
#include <opencv2/imgproc.hpp>

#include "EnclosedRegion.h"

namespace Korvane {
namespace {

int TruncatedToInt(float value) {
    constexpr float limit = 2147483520.0f;  // the largest float below 2^31
    return static_cast<int>(std::min(std::max(value, -limit), limit));
}

}  // namespace

NetworkAnalysis::NetworkAnalysis(const BitPlane& background, float scale)
    : width_(background.Width()),
      height_(background.Height()),
      limitPx_(TruncatedToInt(15.0f * scale)),
      touched_(background, BitPlane(width_, height_)),
      skeleton_(width_, height_),
      distance_(width_, height_),
      traces_(skeleton_, width_, height_, limitPx_),
      enclosed_(width_, height_),
      candidates_(enclosed_.Grid().Words()),
      rings_(enclosed_.Grid().Words()) {}

void NetworkAnalysis::Analyse(const std::vector<WordPart>& component) {
    touched_.Touch(component);
    UpdateSkeleton();
    const MarkedBranches branches = MarkBranches();
    MarkCandidates(component);
    const bool clears = !branches.ends.empty() || branches.mapOrigin;
    const int size = clears ? LargestDistance() : 0;
    touched_.Settle();
    ClearAround(branches, size);
}

// The skeleton's set is what was visited, now or earlier. What is next to the visited, but not visited now, leaves it,
// so that the visited is thinned as if it were alone. It can only lie behind a visited patch.
void NetworkAnalysis::UpdateSkeleton() {
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

MarkedBranches NetworkAnalysis::MarkBranches() {
    // Rows are asked for from the last one up.
    return traces_.Marked(touched_.VisitedTiles(), [&](int x0, int y0, int row) {
        const BitGrid::Word* rows = touched_.VisitedRows(distance_.TileAt(x0, y0));
        __builtin_prefetch(rows + std::max(row - 8, 0));
        return rows[row];
    });
}

int NetworkAnalysis::LargestDistance() {
    parts_.clear();
    for (const TouchedNetwork::VisitedTile& tile : touched_.VisitedTiles()) {
        const std::int32_t number = distance_.TileAt(tile.x0, tile.y0);
        parts_.push_back({number, touched_.VisitedRows(number)});
    }
    return distance_.Largest(parts_);
}

void NetworkAnalysis::MarkCandidates(const std::vector<WordPart>& component) {
    const auto linesIn = [&](int column, int y) {
        const BitGrid::Word lines = traces_.LinesLeftIn(column, y);
        return lines == 0 ? lines : lines & touched_.VisitedIn(column, y);
    };
    enclosed_.Find(component, linesIn, [&](std::size_t word, BitGrid::Word inside, BitGrid::Word ring) {
        rings_[word] |= ring;
        candidates_[word] = (candidates_[word] | inside) & ~rings_[word];
    });
}

// Rows of the disc-like element as the dilation turns them: about its anchor.
const std::vector<NetworkAnalysis::RowSpan>& NetworkAnalysis::Ellipse(int size) {
    std::vector<RowSpan>& spans = ellipses_[size];
    if (!spans.empty()) {
        return spans;
    }
    const cv::Mat element = cv::getStructuringElement(cv::MORPH_ELLIPSE, cv::Size(size, size));
    const int anchor = size / 2;
    for (int i = 0; i < size; ++i) {
        const uchar* row = element.ptr<uchar>(i);
        const uchar* first = std::find(row, row + size, uchar{1});
        const uchar* last = row + size;
        while (last > first && last[-1] == 0) {
            --last;
        }
        if (first < last) {
            spans.push_back(
                {anchor - i, anchor - static_cast<int>(last - 1 - row), anchor - static_cast<int>(first - row)});
        }
    }
    return spans;
}

void NetworkAnalysis::ClearAround(const MarkedBranches& branches, int size) {
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

}  // namespace Korvane

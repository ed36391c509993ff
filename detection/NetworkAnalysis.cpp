#include "NetworkAnalysis.h"

#include <algorithm>
#include <cstring>
#include <opencv2/imgproc.hpp>

#include "EnclosedRegion.h"

namespace Korvane {
namespace {

// Codes of the fill.
constexpr PixelCode kFilled = 1;
constexpr PixelCode kOutside = 2;

int TruncatedToInt(float value) {
    constexpr float limit = 2147483520.0f;  // the largest float below 2^31
    return static_cast<int>(std::min(std::max(value, -limit), limit));
}

}  // namespace

NetworkAnalysis::NetworkAnalysis(const CodePlane& components, const CodePlane& candidates, float scale)
    : components_(components),
      candidates_(candidates),
      limitPx_(TruncatedToInt(15.0f * scale)),
      touched_(components),
      skeleton_(components.width, components.height),
      distance_(components.width, components.height),
      traces_(skeleton_, components.width, components.height),
      fill_(static_cast<std::size_t>(components.width) * static_cast<std::size_t>(components.height)),
      fillPlane_{fill_.data(), components.width, components.width, components.height} {}

void NetworkAnalysis::Analyse(PixelPosition seed, const std::vector<PixelRun>& component,
                              std::vector<PixelRun>& cleared) {
    touched_.Touch(component);
    UpdateSkeleton();
    const MarkedBranches branches = MarkBranches();
    FillAround(seed);
    FillOutside();
    MarkCandidates();
    const bool clears = !branches.ends.empty() || branches.mapOrigin;
    const int size = clears ? LargestDistance() : 0;
    touched_.Settle();
    ClearAround(branches, size, cleared);
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
    PixelBox box;
    for (const TouchedNetwork::VisitedTile& tile : touched_.VisitedTiles()) {
        const int x1 = std::min(tile.x0 + NetworkTiles::kSide, components_.width) - 1;
        box.Include({tile.y0, tile.x0, x1});
        box.Include({std::min(tile.y0 + NetworkTiles::kSide, components_.height) - 1, tile.x0, x1});
    }
    return traces_.Marked(box, limitPx_, [&](int x, int y) { return touched_.IsVisited(x, y); });
}

int NetworkAnalysis::LargestDistance() {
    parts_.clear();
    for (const TouchedNetwork::VisitedTile& tile : touched_.VisitedTiles()) {
        const std::int32_t number = distance_.TileAt(tile.x0, tile.y0);
        parts_.push_back({number, touched_.VisitedRows(number)});
    }
    return distance_.Largest(parts_);
}

void NetworkAnalysis::PushFillSeeds(int y, int x0, int x1) {
    if (y < 0 || y >= fillPlane_.height) {
        return;
    }
    const PixelCode* row = fillPlane_.Row(y);
    bool inside = false;
    for (int x = x0; x <= x1; ++x) {
        const bool free = row[x] == 0 && !IsLine(x, y);
        if (free && !inside) {
            fillSeeds_.push_back({x, y});
        }
        inside = free;
    }
}

// Fills 4-connected from the seed, up to the lines that are left. The box takes one more pixel on every side.
void NetworkAnalysis::FillAround(PixelPosition seed) {
    fillBox_ = PixelBox{};
    fillSeeds_.assign(1, seed);
    while (!fillSeeds_.empty()) {
        const PixelPosition at = fillSeeds_.back();
        fillSeeds_.pop_back();
        PixelCode* row = fillPlane_.Row(at.y);
        if (row[at.x] != 0) {
            continue;
        }
        int x0 = at.x;
        int x1 = at.x;
        while (x0 > 0 && row[x0 - 1] == 0 && !IsLine(x0 - 1, at.y)) {
            --x0;
        }
        while (x1 + 1 < fillPlane_.width && row[x1 + 1] == 0 && !IsLine(x1 + 1, at.y)) {
            ++x1;
        }
        std::memset(row + x0, kFilled, static_cast<std::size_t>(x1 - x0 + 1));
        fillBox_.Include({at.y, x0, x1});
        PushFillSeeds(at.y - 1, x0, x1);
        PushFillSeeds(at.y + 1, x0, x1);
    }
    fillBox_.Grow(1, fillPlane_.width, fillPlane_.height);
}

// Holes of the filled area belong to it; everything else is reached from the box's border: along it where the picture
// goes on, and from the picture's border itself.
void NetworkAnalysis::FillOutside() {
    const PixelBox& box = fillBox_;
    const CodePlane plane{fillPlane_.Row(box.y0) + box.x0, fillPlane_.stride, box.Width(), box.Height()};
    const auto startAt = [&](int x, int y) {
        if (plane.At(x, y) == 0) {
            scratch_.clear();
            flood_.Fill(plane, x, y, kOutside, Connectivity::k4, scratch_);
        }
    };
    for (int x = 0; x < plane.width; ++x) {
        startAt(x, 0);
        startAt(x, plane.height - 1);
    }
    for (int y = 0; y < plane.height; ++y) {
        startAt(0, y);
        startAt(plane.width - 1, y);
    }
}

// Which columns of the box have something inside in this row or the two beside it; one more column on either side.
void NetworkAnalysis::FindInsideAround(int y) {
    insideAround_.assign(static_cast<std::size_t>(fillBox_.Width()) + 2, 0);
    for (int v = std::max(y - 1, fillBox_.y0); v <= std::min(y + 1, fillBox_.y1); ++v) {
        const PixelCode* row = fillPlane_.Row(v) + fillBox_.x0;
        for (std::size_t i = 1; i + 1 < insideAround_.size(); ++i) {
            insideAround_[i] |= row[i - 1] != kOutside ? 1 : 0;
        }
    }
}

void NetworkAnalysis::MarkCandidates() {
    for (int y = fillBox_.y0; y <= fillBox_.y1; ++y) {
        FindInsideAround(y);
        PixelCode* candidates = candidates_.Row(y) + fillBox_.x0;
        const PixelCode* row = fillPlane_.Row(y) + fillBox_.x0;
        const PixelCode* inside = insideAround_.data() + 1;
        for (int x = 0; x < fillBox_.Width(); ++x) {
            if (row[x] != kOutside) {
                candidates[x] = candidates[x] == kFree ? kCandidate : candidates[x];
            } else if ((inside[x - 1] | inside[x] | inside[x + 1]) != 0) {
                candidates[x] = kRing;
            }
        }
    }
    for (int y = fillBox_.y0; y <= fillBox_.y1; ++y) {
        std::memset(fillPlane_.Row(y) + fillBox_.x0, 0, static_cast<std::size_t>(fillBox_.Width()));
    }
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

void NetworkAnalysis::ClearAround(const MarkedBranches& branches, int size, std::vector<PixelRun>& cleared) {
    if (size == 0) {
        return;
    }
    const std::vector<RowSpan>& spans = Ellipse(size);
    const auto clear = [&](int endX, int endY) {
        for (const RowSpan& span : spans) {
            const PixelRun run{endY + span.dy, std::max(endX + span.dx0, 0),
                               std::min(endX + span.dx1, components_.width - 1)};
            if (run.y >= 0 && run.y < components_.height && run.x0 <= run.x1) {
                touched_.Clear(run, cleared);
            }
        }
    };
    for (const PixelPosition& end : branches.ends) {
        clear(end.x, end.y);
    }
    if (branches.mapOrigin) {
        clear(0, 0);
    }
}

}  // namespace Korvane

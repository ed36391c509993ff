#include "NetworkAnalysis.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <opencv2/imgproc.hpp>

#include "EnclosedRegion.h"
#include "NeighbourGroups.h"

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
      fill_(static_cast<std::size_t>(components.width) * static_cast<std::size_t>(components.height)),
      fillPlane_{fill_.data(), components.width, components.width, components.height} {}

void NetworkAnalysis::Analyse(PixelPosition seed, const std::vector<PixelRun>& component,
                              std::vector<PixelRun>& cleared) {
    touched_.Touch(component);
    UpdateSkeleton();
    const MarkedBranches branches = Prune();
    FillAround(seed);
    for (const PixelPosition& at : pruned_) {
        *skeleton_.At(at.x, at.y) = NetworkSkeleton::kLine;
    }
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
    for (const PixelRun& patch : touched_.VisitedPatches()) {
        DropAround(patch);
    }
    for (const std::int32_t word : touched_.WordsWithUnknown()) {
        BitGrid::Word& known = touched_.KnownIn(word);
        const BitGrid::Word added = touched_.VisitedIn(word) & ~known;
        known |= added;
        skeleton_.Add(word, added);
        distance_.Add(word, added);
    }
    skeleton_.Update();
    distance_.Update();
}

void NetworkAnalysis::DropAround(const PixelRun& patch) {
    const BitGrid& grid = touched_.Grid();
    for (int y = std::max(patch.y - 1, 0); y <= std::min(patch.y + 1, components_.height - 1); ++y) {
        const PixelRun beside{y, std::max(patch.x0 - 1, 0), std::min(patch.x1 + 1, components_.width - 1)};
        grid.ForEachWord(beside, [&](std::int32_t word, BitGrid::Word bits) {
            BitGrid::Word& known = touched_.KnownIn(word);
            const BitGrid::Word dropped = bits & known & ~touched_.VisitedIn(word);
            known &= ~dropped;
            skeleton_.Remove(word, dropped);
            distance_.Remove(word, dropped);
        });
    }
}

void NetworkAnalysis::FindEnds() {
    ends_.clear();
    const BitGrid& grid = touched_.Grid();
    int y0 = components_.height;
    int y1 = -1;
    int column0 = grid.WordsPerRow();
    int column1 = -1;
    for (const std::int32_t word : touched_.VisitedWords()) {
        const int y = word / grid.WordsPerRow();
        const int column = word - y * grid.WordsPerRow();
        y0 = std::min(y0, y);
        y1 = std::max(y1, y);
        column0 = std::min(column0, column);
        column1 = std::max(column1, column);
    }
    for (int y = y0; y <= y1; ++y) {
        const std::vector<int>& columns = skeleton_.EndsInRow(y);
        const int x1 = column1 * 64 + 63;
        for (auto x = std::lower_bound(columns.begin(), columns.end(), column0 * 64); x != columns.end() && *x <= x1;
             ++x) {
            if (touched_.IsVisited(*x, y)) {
                ends_.push_back({*x, y});
            }
        }
    }
}

// The next pixel of a line has one thing around it: what lies ahead.
bool NetworkAnalysis::GoesOn(int x, int y) const {
    const NetworkSkeleton::Code* p = skeleton_.At(x, y);
    if (*p != NetworkSkeleton::kLine) {
        return false;
    }
    unsigned lines = 0;
    for (unsigned i = 0; i < 8; ++i) {
        lines |= (p[kAround[i].dy * skeleton_.Stride() + kAround[i].dx] >= NetworkSkeleton::kLine ? 1u : 0u) << i;
    }
    return kNeighbourGroups[lines] == 1;
}

// As PruneBranches, on the lines that are kept; what is pruned goes to pruned_ and is put back after the fill.
MarkedBranches NetworkAnalysis::Prune() {
    FindEnds();
    pruned_.clear();
    BranchCounts counts(ends_.size());
    branch_ = ends_;
    std::int64_t number = static_cast<std::int64_t>(ends_.size()) + 1;
    while (!branch_.empty()) {
        const PixelPosition at = branch_.back();
        branch_.pop_back();
        *skeleton_.At(at.x, at.y) = NetworkSkeleton::kPruned;
        pruned_.push_back(at);
        counts.Add(number);
        const std::size_t before = branch_.size();
        for (const Step& step : kAround) {
            if (GoesOn(at.x + step.dx, at.y + step.dy)) {
                branch_.push_back({at.x + step.dx, at.y + step.dy});
            }
        }
        number -= branch_.size() == before ? 1 : 0;
    }
    MarkedBranches marked;
    for (std::size_t i = 0; i < ends_.size(); ++i) {
        if (counts.WithEnd()[i] > limitPx_) {
            marked.ends.push_back(ends_[i]);
        }
    }
    marked.mapOrigin = counts.AnyWithoutEndAbove(limitPx_);
    return marked;
}

int NetworkAnalysis::LargestDistance() {
    const auto largestIn = [&](std::int32_t word) {
        return distance_.LargestIn(word, touched_.VisitedIn(word), touched_.KnownIn(word));
    };
    int largest = 0;
    const auto lookAt = [&](const std::vector<std::int32_t>& words, int enough) {
        for (std::size_t i = 0; i < words.size() && largest < enough; ++i) {
            largest = std::max(largest, largestIn(words[i]));
        }
    };
    // From the largest of the whole set down, which usually ends with the first word; if it does not, what was visited
    // is looked at as soon as it is less.
    std::size_t looks = 0;
    for (int distance = distance_.Largest(); distance > largest; --distance) {
        looks += distance_.WordsToLookAt(distance) + 1;
        if (looks > touched_.VisitedWords().size()) {
            lookAt(touched_.VisitedWords(), distance);
            return largest;
        }
        lookAt(distance_.WordsWithLargest(distance), distance);
    }
    return largest;
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

bool NetworkAnalysis::IsNextToFilled(int x, int y) const {
    for (int v = std::max(y - 1, fillBox_.y0); v <= std::min(y + 1, fillBox_.y1); ++v) {
        for (int u = std::max(x - 1, fillBox_.x0); u <= std::min(x + 1, fillBox_.x1); ++u) {
            const PixelCode code = fillPlane_.At(u, v);
            if (code != kOutside) {
                return true;
            }
        }
    }
    return false;
}

void NetworkAnalysis::MarkCandidates() {
    for (int y = fillBox_.y0; y <= fillBox_.y1; ++y) {
        PixelCode* candidates = candidates_.Row(y);
        const PixelCode* row = fillPlane_.Row(y);
        for (int x = fillBox_.x0; x <= fillBox_.x1; ++x) {
            if (row[x] != kOutside) {
                candidates[x] = candidates[x] == kFree ? kCandidate : candidates[x];
            } else if (IsNextToFilled(x, y)) {
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
            if (endY + span.dy >= 0 && endY + span.dy < components_.height) {
                ClearTouched(endY + span.dy, endX + span.dx0, endX + span.dx1, cleared);
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

void NetworkAnalysis::ClearTouched(int y, int x0, int x1, std::vector<PixelRun>& cleared) {
    const PixelCode* row = components_.Row(y);
    const int last = std::min(x1, components_.width - 1);
    for (int x = std::max(x0, 0); x <= last; ++x) {
        if (row[x] != kTouched) {
            continue;
        }
        const int first = x;
        while (x <= last && row[x] == kTouched) {
            ++x;
        }
        touched_.Clear({y, first, x - 1});
        cleared.push_back({y, first, x - 1});
    }
}

}  // namespace Korvane

#include "HandMarks.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>

namespace Korvane {

namespace {

using Runs = HandMarks::Runs;
using Run = HandMarks::Run;

constexpr std::uint16_t kMarked = 1;

/// Both without the part, and, where it is marked, with it.
Runs Replaced(const Runs& before, const Run& part, HandMarks::Stroke stroke) {
    Runs after;
    Run added = part;
    const bool marks = stroke == HandMarks::Stroke::kMark;
    for (const Run& run : before) {
        const bool isApart = marks ? run.end < part.begin || run.begin > part.end
                                   : run.end <= part.begin || run.begin >= part.end;
        if (isApart) {
            after.push_back(run);
        } else if (marks) {
            added = {std::min(added.begin, run.begin), std::max(added.end, run.end)};
        } else {
            if (run.begin < part.begin) after.push_back({run.begin, part.begin});
            if (run.end > part.end) after.push_back({part.end, run.end});
        }
    }
    if (!marks) return after;
    const auto place =
        std::find_if(after.begin(), after.end(), [&](const Run& run) { return run.begin > added.begin; });
    after.insert(place, added);
    return after;
}

/// The parts of a row that are not in the runs.
Runs Gaps(const Runs& runs, const Run& part) {
    Runs gaps;
    std::uint64_t at = part.begin;
    for (const Run& run : runs) {
        if (run.end <= at) continue;
        if (run.begin >= part.end) break;
        if (run.begin > at) gaps.push_back({at, run.begin});
        at = run.end;
    }
    if (at < part.end) gaps.push_back({at, part.end});
    return gaps;
}

Runs Common(const Runs& runs, const Run& part) {
    Runs common;
    for (const Run& run : runs) {
        const Run both{std::max(run.begin, part.begin), std::min(run.end, part.end)};
        if (both.begin < both.end) common.push_back(both);
    }
    return common;
}

/// Points of the brush's way, close enough for its discs to overlap.
std::vector<Pixel> Way(const Pixel& from, const Pixel& to, std::int64_t radius) {
    const std::int64_t dx = to.x - from.x;
    const std::int64_t dy = to.y - from.y;
    const std::int64_t step = std::max<std::int64_t>(1, radius / 2);
    const std::int64_t count = (std::max(std::abs(dx), std::abs(dy)) + step - 1) / step;
    std::vector<Pixel> way{from};
    for (std::int64_t i = 1; i <= count; ++i) way.push_back({from.x + dx * i / count, from.y + dy * i / count});
    return way;
}

}  // namespace

std::uint64_t HandMarks::PixelCount() const {
    std::uint64_t count = 0;
    for (const auto& [y, runs] : rows_) {
        for (const Run& run : runs) count += run.end - run.begin;
    }
    return count;
}

PixelRectangle HandMarks::Bounds() const {
    if (rows_.empty()) return {};
    std::uint64_t left = std::numeric_limits<std::uint64_t>::max();
    std::uint64_t right = 0;
    for (const auto& [y, runs] : rows_) {
        left = std::min(left, runs.front().begin);
        right = std::max(right, runs.back().end);
    }
    const std::uint64_t top = rows_.begin()->first;
    return {left, top, right - left, rows_.rbegin()->first - top + 1};
}

void HandMarks::Set(std::uint64_t y, const Run& part, Stroke stroke, std::uint64_t width, LabelChanges* changes) {
    if (part.begin >= part.end) return;
    const auto found = rows_.find(y);
    const Runs before = found == rows_.end() ? Runs() : found->second;
    const bool marks = stroke == Stroke::kMark;
    const Runs changed = marks ? Gaps(before, part) : Common(before, part);
    if (changed.empty()) return;
    if (changes != nullptr) {
        for (const Run& run : changed) {
            const std::uint64_t start = y * width + run.begin;
            changes->Add({start, run.end - run.begin, marks ? std::uint16_t{0} : kMarked,
                          marks ? kMarked : std::uint16_t{0}});
        }
    }
    Runs after = Replaced(before, part, stroke);
    if (after.empty()) {
        rows_.erase(found);
    } else {
        rows_[y] = std::move(after);
    }
}

PixelRectangle HandMarks::Paint(const Dab& dab, LabelChanges& changes) {
    const std::int64_t radius = dab.radiusPx;
    const auto width = static_cast<std::int64_t>(dab.width);
    const auto height = static_cast<std::int64_t>(dab.height);
    const auto within = [](std::int64_t at, std::int64_t size) { return std::clamp<std::int64_t>(at, 0, size); };
    for (const Pixel& centre : Way(dab.from, dab.to, radius)) {
        const std::int64_t bottom = within(centre.y + radius, height);
        for (std::int64_t y = within(centre.y - radius + 1, height); y < bottom; ++y) {
            const std::int64_t reach = DiscReach(radius, y - centre.y);
            const Run part{static_cast<std::uint64_t>(within(centre.x - reach, width)),
                           static_cast<std::uint64_t>(within(centre.x + reach + 1, width))};
            Set(static_cast<std::uint64_t>(y), part, dab.stroke, dab.width, &changes);
        }
    }
    const std::int64_t left = within(std::min(dab.from.x, dab.to.x) - radius + 1, width);
    const std::int64_t right = within(std::max(dab.from.x, dab.to.x) + radius, width);
    const std::int64_t top = within(std::min(dab.from.y, dab.to.y) - radius + 1, height);
    const std::int64_t bottom = within(std::max(dab.from.y, dab.to.y) + radius, height);
    if (left >= right || top >= bottom) return {};
    return {static_cast<std::uint64_t>(left), static_cast<std::uint64_t>(top), static_cast<std::uint64_t>(right - left),
            static_cast<std::uint64_t>(bottom - top)};
}

void HandMarks::Apply(const LabelChanges& changes, ChangeDirection direction, std::uint64_t width) {
    const auto apply = [&](const LabelRun& run) {
        const std::uint16_t wanted = direction == ChangeDirection::kUndo ? run.before : run.after;
        const std::uint64_t begin = run.start % width;
        Set(run.start / width, {begin, begin + run.length}, wanted == 0 ? Stroke::kErase : Stroke::kMark, width,
            nullptr);
    };
    if (direction == ChangeDirection::kUndo) {
        changes.ForEachReversed(apply);
    } else {
        changes.ForEach(apply);
    }
}

qvox::VoxelImage<bool> HandMarks::Mask(std::uint64_t width, std::uint64_t height) const {
    qvox::VoxelImage<bool> mask;
    mask.Resize(width, height, 1);
    mask.Zero();
    for (const auto& [y, runs] : rows_) {
        for (const Run& run : runs) std::fill(mask.Row(y) + run.begin, mask.Row(y) + run.end, true);
    }
    return mask;
}

HandMarks HandMarks::FromMask(const qvox::VoxelImage<bool>& mask) {
    HandMarks marks;
    for (std::uint64_t y = 0; y < mask.SizeY(); ++y) {
        const bool* const row = mask.Row(y);
        Runs runs;
        for (std::uint64_t x = 0; x < mask.SizeX();) {
            const bool isMarked = row[x];
            const std::uint64_t begin = x;
            while (x < mask.SizeX() && row[x] == isMarked) ++x;
            if (isMarked) runs.push_back({begin, x});
        }
        if (!runs.empty()) marks.rows_.emplace(y, std::move(runs));
    }
    return marks;
}

LabelChanges HandMarks::DifferenceTo(const HandMarks& others, std::uint64_t width) const {
    LabelChanges changes;
    HandMarks between = *this;
    for (const auto& [y, runs] : rows_) {
        const auto other = others.rows_.find(y);
        const Runs kept = other == others.rows_.end() ? Runs() : other->second;
        for (const Run& run : runs) {
            for (const Run& gone : Gaps(kept, run)) between.Set(y, gone, Stroke::kErase, width, &changes);
        }
    }
    for (const auto& [y, runs] : others.rows_) {
        for (const Run& run : runs) between.Set(y, run, Stroke::kMark, width, &changes);
    }
    return changes;
}

}  // namespace Korvane

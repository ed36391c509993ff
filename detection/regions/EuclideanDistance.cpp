#include "regions/EuclideanDistance.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

namespace Korvane {
namespace {

constexpr int kNone = std::numeric_limits<int>::max();

/// One pixel farther than the neighbour; a column without any pixel outside the region stays without.
int Farther(int distance) { return distance == kNone ? kNone : distance + 1; }

}  // namespace

void EuclideanDistance::FillColumnDistances(const RegionRuns& regions, const Region& region) {
    const auto width = static_cast<std::size_t>(region.Width());
    columnDistances_.assign(width * static_cast<std::size_t>(region.Height()), 0);
    const auto at = [&](int y) { return columnDistances_.data() + static_cast<std::size_t>(y - region.minY) * width; };
    const std::vector<int> aboveTop(width, region.minY == 0 ? kNone : 0);
    const std::vector<int> belowBottom(width, region.maxY == image_.height - 1 ? kNone : 0);

    for (const Run* run = regions.begin(region); run != regions.end(region); ++run) {
        const int* above = run->y == region.minY ? aboveTop.data() : at(run->y - 1);
        int* row = at(run->y);
        for (int x = run->begin - region.minX; x < run->end - region.minX; ++x) row[x] = Farther(above[x]);
    }
    for (const Run* run = regions.end(region); run-- != regions.begin(region);) {
        const int* below = run->y == region.maxY ? belowBottom.data() : at(run->y + 1);
        int* row = at(run->y);
        for (int x = run->begin - region.minX; x < run->end - region.minX; ++x) {
            row[x] = std::min(row[x], Farther(below[x]));
        }
    }
}

void EuclideanDistance::AddSite(std::int64_t column, std::int64_t columnDistance, std::int64_t lastColumn) {
    const std::int64_t squared = columnDistance * columnDistance;
    std::int64_t from = std::numeric_limits<std::int64_t>::min();
    while (!sites_.empty()) {
        const Site& top = sites_.back();
        // First column at which the new site is nearer than the top one: x > numerator / denominator.
        const std::int64_t numerator = column * column - top.column * top.column + squared - top.squared;
        const std::int64_t denominator = 2 * (column - top.column);
        const std::int64_t floored =
            numerator >= 0 ? numerator / denominator : -((-numerator + denominator - 1) / denominator);
        from = floored + 1;
        if (from > top.from) break;
        sites_.pop_back();
        from = std::numeric_limits<std::int64_t>::min();
    }
    if (sites_.empty() || from <= lastColumn) sites_.push_back({column, squared, from});
}

void EuclideanDistance::SolveRun(const Run& run, const int* columnDistances, float* out) {
    const std::int64_t length = run.end - run.begin;
    sites_.clear();
    if (run.begin > 0) AddSite(-1, 0, length - 1);
    for (std::int64_t x = 0; x < length; ++x) {
        if (columnDistances[x] != kNone) AddSite(x, columnDistances[x], length - 1);
    }
    if (run.end < image_.width) AddSite(length, 0, length - 1);

    std::size_t site = 0;
    for (std::int64_t x = 0; x < length; ++x) {
        while (site + 1 < sites_.size() && sites_[site + 1].from <= x) ++site;
        const std::int64_t dx = x - sites_[site].column;
        out[x] = static_cast<float>(std::sqrt(static_cast<double>(dx * dx + sites_[site].squared)));
    }
}

void EuclideanDistance::Measure(const RegionRuns& regions, const Region& region, float* out, std::ptrdiff_t stride) {
    CV_Assert(region.area < static_cast<std::int64_t>(image_.width) * image_.height);
    FillColumnDistances(regions, region);
    for (const Run* run = regions.begin(region); run != regions.end(region); ++run) {
        const std::ptrdiff_t y = run->y - region.minY;
        const std::ptrdiff_t x = run->begin - region.minX;
        SolveRun(*run, columnDistances_.data() + y * region.Width() + x, out + y * stride + x);
    }
}

}  // namespace Korvane

#include "regions/RegionRuns.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace Korvane {
namespace {

/// Disjoint sets of run numbers; the root of a set is its smallest number, so roots come in raster order.
class RunSets {
public:
    explicit RunSets(std::size_t count) : parents_(count) {
        std::iota(parents_.begin(), parents_.end(), std::size_t{0});
    }

    std::size_t Root(std::size_t run) {
        while (parents_[run] != run) {
            parents_[run] = parents_[parents_[run]];
            run = parents_[run];
        }
        return run;
    }

    void Join(std::size_t a, std::size_t b) {
        const auto [low, high] = std::minmax({Root(a), Root(b)});
        parents_[high] = low;
    }

private:
    std::vector<std::size_t> parents_;
};

void JoinAdjacentRuns(const std::vector<Run>& runs, RunSets& sets) {
    std::size_t above = 0;
    for (std::size_t i = 0; i < runs.size(); ++i) {
        const Run& run = runs[i];
        while (runs[above].y < run.y - 1 || (runs[above].y == run.y - 1 && runs[above].end < run.begin)) ++above;
        // A diagonal touch counts: the run above may end where this one begins, and begin where this one ends.
        for (std::size_t j = above; runs[j].y == run.y - 1 && runs[j].begin <= run.end; ++j) sets.Join(i, j);
    }
}

void Include(Region& region, const Run& run) {
    if (region.runCount == 0) {
        region.minX = run.begin;
        region.maxX = run.end - 1;
        region.minY = run.y;
    }
    region.minX = std::min(region.minX, run.begin);
    region.maxX = std::max(region.maxX, run.end - 1);
    region.maxY = run.y;
    region.area += run.end - run.begin;
    ++region.runCount;
}

}  // namespace

RegionRuns GroupRuns(std::vector<Run> runs) {
    RunSets sets(runs.size());
    JoinAdjacentRuns(runs, sets);

    RegionRuns result;
    std::vector<std::size_t> regionOfRun(runs.size());
    for (std::size_t i = 0; i < runs.size(); ++i) {
        const std::size_t root = sets.Root(i);
        if (root == i) {
            regionOfRun[i] = result.regions.size();
            result.regions.emplace_back();
        } else {
            regionOfRun[i] = regionOfRun[root];
        }
        Include(result.regions[regionOfRun[i]], runs[i]);
    }

    std::size_t next = 0;
    for (Region& region : result.regions) {
        region.firstRun = next;
        next += region.runCount;
    }
    std::vector<std::size_t> place(result.regions.size());
    for (std::size_t r = 0; r < place.size(); ++r) place[r] = result.regions[r].firstRun;
    result.runs.resize(runs.size());
    for (std::size_t i = 0; i < runs.size(); ++i) result.runs[place[regionOfRun[i]]++] = runs[i];
    return result;
}

}  // namespace Korvane

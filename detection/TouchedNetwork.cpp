#include "TouchedNetwork.h"

#include <algorithm>
#include <cstring>

#include "EnclosedRegion.h"

namespace Korvane {

TouchedNetwork::TouchedNetwork(const CodePlane& map)
    : map_(map), patchAt_(static_cast<std::size_t>(map.width) * static_cast<std::size_t>(map.height)) {}

void TouchedNetwork::Touch(const std::vector<PixelRun>& component) {
    visited_.clear();
    visitedPatches_.clear();
    turned_.clear();
    patches_.clear();
    patchRuns_.clear();
    notPassed_.clear();
    FindRing(component);
    for (const Position& at : ring_) {
        if (!IsVisited(at.x, at.y)) {
            Visit(at);
        }
    }
}

void TouchedNetwork::FindRing(const std::vector<PixelRun>& component) {
    ring_.clear();
    const auto add = [&](int x, int y) {
        if (map_.At(x, y) != kAnalysed) {
            ring_.push_back({x, y});
        }
    };
    for (const PixelRun& run : component) {
        if (run.x0 > 0) {
            add(run.x0 - 1, run.y);
        }
        if (run.x1 + 1 < map_.width) {
            add(run.x1 + 1, run.y);
        }
        for (int x = run.x0; x <= run.x1; ++x) {
            if (run.y > 0) {
                add(x, run.y - 1);
            }
            if (run.y + 1 < map_.height) {
                add(x, run.y + 1);
            }
        }
    }
    std::sort(ring_.begin(), ring_.end(),
              [](const Position& a, const Position& b) { return a.y != b.y ? a.y < b.y : a.x < b.x; });
}

void TouchedNetwork::Visit(Position at) {
    const PixelCode code = map_.At(at.x, at.y);
    const std::size_t patchesBefore = patches_.size();
    cluster_ = -1;
    lastMet_ = -1;
    if (code == kBackground) {
        FloodPatch(at, kVisitedPatch);
        return;
    }
    if (code == kTurnedPatch) {
        MeetPatch(at, kVisitedPatch);
    } else {
        FloodRegion(at, kVisitedRegion, kVisitedPatch);
    }
    if (cluster_ >= 0) {
        PassThroughCluster(patchesBefore);
    }
}

void TouchedNetwork::FloodRegion(Position at, PixelCode code, PixelCode patchCode) {
    const PixelCode from = map_.At(at.x, at.y);
    std::vector<PixelRun>& runs = code == kVisitedRegion ? visited_ : turned_;
    stack_.assign(1, at);
    while (!stack_.empty()) {
        const Position seed = stack_.back();
        stack_.pop_back();
        PixelCode* row = map_.Row(seed.y);
        if (row[seed.x] != from) {
            continue;
        }
        int x0 = seed.x;
        int x1 = seed.x;
        while (x0 > 0 && row[x0 - 1] == from) {
            --x0;
        }
        while (x1 + 1 < map_.width && row[x1 + 1] == from) {
            ++x1;
        }
        std::memset(row + x0, code, static_cast<std::size_t>(x1 - x0 + 1));
        runs.push_back({seed.y, x0, x1});
        LookAlong(seed.y - 1, x0 - 1, x1 + 1, from, patchCode);
        LookAlong(seed.y, x0 - 1, x0 - 1, from, patchCode);
        LookAlong(seed.y, x1 + 1, x1 + 1, from, patchCode);
        LookAlong(seed.y + 1, x0 - 1, x1 + 1, from, patchCode);
    }
}

void TouchedNetwork::LookAlong(int y, int x0, int x1, PixelCode from, PixelCode patchCode) {
    if (y < 0 || y >= map_.height) {
        return;
    }
    const PixelCode* row = map_.Row(y);
    const int last = std::min(x1, map_.width - 1);
    bool inside = false;
    for (int x = std::max(x0, 0); x <= last; ++x) {
        const PixelCode code = row[x];
        if (code == from) {
            if (!inside) {
                stack_.push_back({x, y});
            }
            inside = true;
            continue;
        }
        inside = false;
        if (code == kBackground || code == kVisitedPatch || code == kTurnedPatch) {
            MeetPatch({x, y}, patchCode);
        }
    }
}

void TouchedNetwork::MeetPatch(Position at, PixelCode patchCode) {
    const PixelCode code = map_.At(at.x, at.y);
    std::int32_t number = 0;
    if (code == kBackground) {
        number = FloodPatch(at, patchCode);
    } else {
        number = patchAt_[Index(at)];
        if (code == kTurnedPatch && patchCode == kVisitedPatch) {
            const std::size_t before = visited_.size();
            flood_.Fill(map_, at.x, at.y, kVisitedPatch, Connectivity::k8, visited_);
            visitedPatches_.insert(visitedPatches_.end(), visited_.begin() + static_cast<std::ptrdiff_t>(before),
                                   visited_.end());
        }
    }
    if (number == lastMet_) {
        return;
    }
    lastMet_ = number;
    const std::int32_t met = ClusterOf(number);
    if (cluster_ >= 0) {
        patches_[static_cast<std::size_t>(met)].cluster = ClusterOf(cluster_);
    }
    cluster_ = ClusterOf(met);
}

std::int32_t TouchedNetwork::FloodPatch(Position at, PixelCode code) {
    const auto number = static_cast<std::int32_t>(patches_.size());
    const std::size_t before = patchRuns_.size();
    flood_.Fill(map_, at.x, at.y, code, Connectivity::k8, patchRuns_);
    patches_.push_back({number, before, patchRuns_.size()});
    notPassed_.push_back(number);
    std::vector<PixelRun>& runs = code == kVisitedPatch ? visited_ : turned_;
    for (std::size_t i = before; i < patchRuns_.size(); ++i) {
        const PixelRun& run = patchRuns_[i];
        std::fill_n(patchAt_.begin() + static_cast<std::ptrdiff_t>(Index({run.x0, run.y})), run.x1 - run.x0 + 1, number);
        runs.push_back(run);
        if (code == kVisitedPatch) {
            visitedPatches_.push_back(run);
        }
    }
    return number;
}

std::int32_t TouchedNetwork::ClusterOf(std::int32_t patch) {
    while (patches_[static_cast<std::size_t>(patch)].cluster != patch) {
        Patch& at = patches_[static_cast<std::size_t>(patch)];
        at.cluster = patches_[static_cast<std::size_t>(at.cluster)].cluster;
        patch = at.cluster;
    }
    return patch;
}

// Regions behind the cluster's patches belong to it too, and may bring in more patches of before.
void TouchedNetwork::PassThroughCluster(std::size_t patchesBefore) {
    for (bool again = true; again;) {
        again = false;
        for (std::size_t i = 0; i < notPassed_.size();) {
            const std::int32_t number = notPassed_[i];
            if (static_cast<std::size_t>(number) >= patchesBefore || ClusterOf(number) != ClusterOf(cluster_)) {
                ++i;
                continue;
            }
            notPassed_[i] = notPassed_.back();
            notPassed_.pop_back();
            PassThrough(patches_[static_cast<std::size_t>(number)]);
            again = true;
        }
    }
}

void TouchedNetwork::PassThrough(const Patch& patch) {
    const std::size_t last = patch.lastRun;
    for (std::size_t i = patch.firstRun; i < last; ++i) {
        const PixelRun run = patchRuns_[i];
        for (int y = std::max(run.y - 1, 0); y <= std::min(run.y + 1, map_.height - 1); ++y) {
            for (int x = std::max(run.x0 - 1, 0); x <= std::min(run.x1 + 1, map_.width - 1); ++x) {
                if (map_.At(x, y) == kTouched) {
                    FloodRegion({x, y}, kPassedRegion, kTurnedPatch);
                }
            }
        }
    }
}

void TouchedNetwork::Settle() {
    SetRuns(map_, visited_, kTouched);
    SetRuns(map_, turned_, kTouched);
}

}  // namespace Korvane

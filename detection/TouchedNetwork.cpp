#include "TouchedNetwork.h"

#include <algorithm>
#include <cstring>

#include "EnclosedRegion.h"

namespace Korvane {

TouchedNetwork::TouchedNetwork(const CodePlane& map)
    : map_(map),
      words_(map.width, map.height),
      states_(words_.Words()),
      patchAt_(static_cast<std::size_t>(map.width) * static_cast<std::size_t>(map.height)) {
    for (int y = 0; y < map.height; ++y) {
        for (int x = 0; x < map.width; ++x) {
            WordState& at = At(words_.WordAt(x, y));
            at.patch |= map.At(x, y) == kBackground ? BitGrid::Bit(x) : 0;
            at.region |= map.At(x, y) == kTouched ? BitGrid::Bit(x) : 0;
        }
    }
}

void TouchedNetwork::Touch(const std::vector<PixelRun>& component) {
    visitedPatches_.clear();
    wordsWithUnknown_.clear();
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

void TouchedNetwork::BackgroundAdded(const PixelRun& run) {
    words_.ForEachWord(run, [&](std::int32_t word, Word bits) { At(word).patch |= bits; });
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
    reach_ = Reach::kVisit;
    if (code == kTurnedPatch) {
        MeetPatch(at);
    } else {
        FloodRegion(at, Reach::kVisit);
    }
    if (cluster_ >= 0) {
        PassThroughCluster(patchesBefore);
    }
}

void TouchedNetwork::FloodRegion(Position at, Reach reach) {
    reach_ = reach;
    const std::int32_t start = words_.WordAt(at.x, at.y);
    overPassed_ = (At(start).passed & BitGrid::Bit(at.x)) != 0;
    At(start).seeds = BitGrid::Bit(at.x);
    waiting_.assign(1, start);
    while (!waiting_.empty()) {
        const std::int32_t word = waiting_.back();
        waiting_.pop_back();
        FloodWord(word);
    }
}

void TouchedNetwork::FloodWord(std::int32_t word) {
    WordState& at = At(word);
    const Word open = NotReached(at);
    Word reached = at.seeds & open;
    at.seeds = 0;
    // Along the row: each step doubles the stretch over which bits are carried.
    Word right = open;
    Word left = open;
    for (int step = 1; step < 64; step *= 2) {
        reached |= (right & (reached << step)) | (left & (reached >> step));
        right &= right << step;
        left &= left >> step;
    }
    if (reached == 0) {
        return;
    }
    Word& marked = reach_ == Reach::kVisit ? at.visited : at.passed;
    if (marked == 0) {
        (reach_ == Reach::kVisit ? visitedWords_ : passedWords_).push_back(word);
    }
    marked |= reached;
    if (reach_ == Reach::kVisit && (reached & ~at.known) != 0) {
        wordsWithUnknown_.push_back(word);
    }
    const int wordsPerRow = words_.WordsPerRow();
    const int y = word / wordsPerRow;
    const int column = word - y * wordsPerRow;
    const Word beside = reached | reached << 1 | reached >> 1;
    const bool over = (reached >> 63) != 0 && column + 1 < wordsPerRow;
    const bool under = (reached & 1u) != 0 && column > 0;
    const auto look = [&](std::int32_t near, Word bits) {
        const WordState& there = At(near);
        if ((bits & (NotReached(there) | there.patch)) != 0) {
            LookAt(near, bits);
        }
    };
    for (int v = std::max(y - 1, 0); v <= std::min(y + 1, map_.height - 1); ++v) {
        const std::int32_t near = v * wordsPerRow + column;
        look(near, beside);
        if (over) {
            look(near + 1, 1);
        }
        if (under) {
            look(near - 1, Word{1} << 63);
        }
    }
}

// Bits that hang together in a row are of one patch.
void TouchedNetwork::LookAt(std::int32_t word, Word bits) {
    WordState& at = At(word);
    const Word seeds = bits & NotReached(at);
    if (seeds != 0) {
        if (at.seeds == 0) {
            waiting_.push_back(word);
        }
        at.seeds |= seeds;
    }
    Word met = bits & at.patch;
    met &= ~(met << 1);
    while (met != 0) {
        const int y = word / words_.WordsPerRow();
        MeetPatch({(word - y * words_.WordsPerRow()) * 64 + BitGrid::Lowest(met), y});
        met &= met - 1;
    }
}

void TouchedNetwork::MeetPatch(Position at) {
    const PixelCode code = map_.At(at.x, at.y);
    std::int32_t number = 0;
    if (code == kBackground) {
        number = FloodPatch(at, reach_ == Reach::kVisit ? kVisitedPatch : kTurnedPatch);
    } else {
        number = patchAt_[Index(at)];
        if (code == kTurnedPatch && reach_ == Reach::kVisit) {
            refilled_.clear();
            flood_.Fill(map_, at.x, at.y, kVisitedPatch, Connectivity::k8, refilled_);
            std::for_each(refilled_.begin(), refilled_.end(), [&](const PixelRun& run) { MarkVisited(run); });
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

void TouchedNetwork::MarkVisited(const PixelRun& run) {
    visitedPatches_.push_back(run);
    words_.ForEachWord(run, [&](std::int32_t word, Word bits) {
        if (At(word).visited == 0) {
            visitedWords_.push_back(word);
        }
        At(word).visited |= bits;
        if ((bits & ~At(word).known) != 0) {
            wordsWithUnknown_.push_back(word);
        }
    });
}

std::int32_t TouchedNetwork::FloodPatch(Position at, PixelCode code) {
    const auto number = static_cast<std::int32_t>(patches_.size());
    const std::size_t before = patchRuns_.size();
    flood_.Fill(map_, at.x, at.y, code, Connectivity::k8, patchRuns_);
    patches_.push_back({number, before, patchRuns_.size()});
    notPassed_.push_back(number);
    for (std::size_t i = before; i < patchRuns_.size(); ++i) {
        const PixelRun& run = patchRuns_[i];
        std::fill_n(patchAt_.data() + Index({run.x0, run.y}), run.x1 - run.x0 + 1, number);
        if (code == kVisitedPatch) {
            MarkVisited(run);
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
        const int x0 = std::max(run.x0 - 1, 0);
        const int x1 = std::min(run.x1 + 1, map_.width - 1);
        for (int y = std::max(run.y - 1, 0); y <= std::min(run.y + 1, map_.height - 1); ++y) {
            words_.ForEachWord({y, x0, x1}, [&](std::int32_t word, Word bits) {
                overPassed_ = false;
                while (const Word behind = bits & NotReached(At(word))) {
                    FloodRegion({(word - y * words_.WordsPerRow()) * 64 + BitGrid::Lowest(behind), y}, Reach::kPass);
                }
            });
        }
    }
}

void TouchedNetwork::Settle() {
    SetRuns(map_, patchRuns_, kTouched);
    for (const PixelRun& run : patchRuns_) {
        words_.ForEachWord(run, [&](std::int32_t word, Word bits) {
            At(word).patch &= ~bits;
            At(word).region |= bits;
        });
    }
    for (const std::int32_t word : visitedWords_) {
        At(word).visited = 0;
    }
    for (const std::int32_t word : passedWords_) {
        At(word).passed = 0;
    }
    visitedWords_.clear();
    passedWords_.clear();
}

void TouchedNetwork::Clear(const PixelRun& run) {
    std::memset(map_.Row(run.y) + run.x0, kBackground, static_cast<std::size_t>(run.x1 - run.x0 + 1));
    words_.ForEachWord(run, [&](std::int32_t word, Word bits) {
        At(word).region &= ~bits;
        At(word).patch |= bits;
    });
}

}  // namespace Korvane

#include "CandidateDetection.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <locale>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "ComponentSweeper.h"
#include "NetworkAnalysis.h"
#include "OpenComponents.h"
#include "PixelSet.h"
#include "ToolkitError.h"

namespace Korvane {
namespace {

constexpr float kLevelStep = 0.005f;
constexpr float kLowestLevel = 0.05f;
constexpr float kUpperPercentage = 97.5f;

std::string DecimalText(float value) {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << value;
    return text.str();
}

std::vector<float> StrongLevels(float upper) {
    std::vector<float> levels;
    for (float t = 1.0f; t > upper; t = t - kLevelStep) {
        levels.push_back(t);
    }
    return levels;
}

std::vector<float> WeakLevels(float upper) {
    std::vector<float> levels;
    for (float t = upper; t > kLowestLevel; t = t - kLevelStep) {
        levels.push_back(t);
    }
    return levels;
}

/// The open pixels grouped by the first of a falling sequence of levels that they are strictly above, each group in
/// raster order.
class LevelBuckets {
public:
    LevelBuckets(const float* edges, const std::vector<PixelCode>& map, const std::vector<float>& levels)
        : levels_(levels), starts_(levels.size() + 2, 0) {
        for (std::size_t i = 0; i < map.size(); ++i) {
            if (IsWanted(edges[i], map[i])) {
                ++starts_[BucketOf(edges[i]) + 1];
            }
        }
        for (std::size_t k = 1; k < starts_.size(); ++k) {
            starts_[k] += starts_[k - 1];
        }
        std::vector<std::size_t> next(starts_.begin(), starts_.end() - 1);
        pixels_.resize(starts_[levels.size()]);
        for (std::size_t i = 0; i < map.size(); ++i) {
            if (IsWanted(edges[i], map[i])) {
                pixels_[next[BucketOf(edges[i])]++] = static_cast<std::int32_t>(i);
            }
        }
    }
    const std::int32_t* Begin(std::size_t level) const { return pixels_.data() + starts_[level]; }
    const std::int32_t* End(std::size_t level) const { return pixels_.data() + starts_[level + 1]; }

private:
    bool IsWanted(float edge, PixelCode code) const {
        return !levels_.empty() && edge > levels_.back() && code == kOpen;
    }

    // The levels are a step apart but for rounding: a guess from the distance to the first, then exact comparisons.
    std::size_t BucketOf(float edge) const {
        const float guess = (levels_.front() - edge) * (1.0f / kLevelStep);
        std::size_t k = guess > 0.0f ? static_cast<std::size_t>(guess) : 0;
        k = std::min(k, levels_.size() - 1);
        while (k > 0 && edge > levels_[k - 1]) {
            --k;
        }
        while (!(edge > levels_[k])) {
            ++k;
        }
        return k;
    }

    const std::vector<float>& levels_;
    std::vector<std::size_t> starts_;
    std::vector<std::int32_t> pixels_;
};

/// The working map of one phase, with all that is known about its components and its background.
class Phase {
public:
    /// Open is what does not exceed `threshold`, and what `alsoOpen` holds as a candidate.
    Phase(const cv::Mat& edges, float threshold, const std::vector<PixelCode>& alsoOpen, float scale,
          float maxRelativeClusterSize)
        : edges_(edges.ptr<float>()),
          width_(edges.cols),
          height_(edges.rows),
          areas_(AreaRangeFor(scale, maxRelativeClusterSize)),
          open_(OpenMap(edges, threshold, alsoOpen)),
          candidates_(edges.total(), kFree),
          components_({open_.data(), width_, width_, height_}, kOpen, std::max(areas_.maximum, areas_.minimum - 1)),
          analysis_({open_.data(), width_, width_, height_}, {candidates_.data(), width_, width_, height_}, scale),
          cleared_(width_, height_) {}

    /// What a sweep over the whole map would find is in the components that lost pixels since the last one; those that
    /// are too large may become smaller, all others leave with their first sweep.
    void Sweep() {
        for (const TakenComponent& component : components_.TakeSmall(kAnalysed)) {
            if (component.area < areas_.minimum) {
                SetRuns({open_.data(), width_, width_, height_}, component.runs, kBackground);
                for (const PixelRun& run : component.runs) {
                    analysis_.BackgroundAdded(run);
                }
                NoteCleared(component.runs);
                continue;
            }
            analysis_.Analyse({component.first % width_, component.first / width_}, component.runs);
        }
    }

    void RemoveAbove(const LevelBuckets& buckets, std::size_t level) {
        ForEachOpenPixel(buckets, level, [&](PixelPosition at) { Remove(at); });
    }

    /// Removes what is above `level` and touches the network, with all that hangs together with it at or above `level`.
    /// Beyond the pixels whose own level has come, only those next to what left the map since the level before can have
    /// begun to touch the network.
    void RemoveTouchingNetwork(const LevelBuckets& buckets, std::size_t index, float level) {
        analysis_.UpdateComponents([&](const PixelRun& run) { cleared_.Add(run); });
        ForEachOpenPixel(buckets, index, [&](PixelPosition at) {
            if (TouchesNetwork(at)) {
                RemoveRegion(at, level);
            }
        });
        cleared_.TakeRuns([&](const PixelRun& run) {
            // What was cleared may have been touched again since: the network is what the map says now.
            const PixelCode* row = open_.data() + static_cast<std::ptrdiff_t>(run.y) * width_;
            for (int x = run.x0; x <= run.x1; ++x) {
                const int first = x;
                while (x <= run.x1 && row[x] == kBackground) {
                    ++x;
                }
                if (x > first) {
                    RemoveNextTo({run.y, first, x - 1}, level);
                }
            }
        });
    }

    const std::vector<PixelCode>& OpenMap() const { return open_; }
    std::vector<PixelCode> TakeCandidates() { return std::move(candidates_); }

private:
    static std::vector<PixelCode> OpenMap(const cv::Mat& edges, float threshold,
                                          const std::vector<PixelCode>& alsoOpen) {
        std::vector<PixelCode> map(edges.total());
        const float* strength = edges.ptr<float>();
        for (std::size_t i = 0; i < map.size(); ++i) {
            map[i] = strength[i] <= threshold ? kOpen : kBackground;
        }
        for (std::size_t i = 0; i < alsoOpen.size(); ++i) {
            map[i] = alsoOpen[i] == kCandidate ? kOpen : map[i];
        }
        return map;
    }

    /// Calls visit(position) for each pixel of a level that is open when its turn comes.
    template <typename Visit>
    void ForEachOpenPixel(const LevelBuckets& buckets, std::size_t level, Visit visit) const {
        const std::int32_t* end = buckets.End(level);
        PixelPosition at{0, 0};
        std::int32_t rowStart = 0;
        for (const std::int32_t* pixel = buckets.Begin(level); pixel != end; ++pixel) {
            if (open_[static_cast<std::size_t>(*pixel)] != kOpen) {
                continue;
            }
            if (*pixel - rowStart >= width_) {
                at.y = *pixel / width_;
                rowStart = at.y * width_;
            }
            at.x = *pixel - rowStart;
            visit(at);
        }
    }

    std::size_t Index(PixelPosition at) const {
        return static_cast<std::size_t>(at.y) * static_cast<std::size_t>(width_) + static_cast<std::size_t>(at.x);
    }

    void NoteCleared(const std::vector<PixelRun>& runs) {
        for (const PixelRun& run : runs) {
            cleared_.Add(run);
        }
    }

    void Remove(PixelPosition at) {
        open_[Index(at)] = kBackground;
        components_.Remove(at.x, at.y);
        analysis_.BackgroundAdded(at.x, at.y);
    }

    bool TouchesNetwork(PixelPosition at) const {
        const int first = std::max(at.x - 1, 0);
        const int last = std::min(at.x + 1, width_ - 1);
        const int bottom = std::min(at.y + 1, height_ - 1);
        unsigned touches = 0;
        for (int y = std::max(at.y - 1, 0); y <= bottom; ++y) {
            const PixelCode* row = &open_[Index({0, y})];
            for (const int x : {first, at.x, last}) {
                touches |= row[x] == kBackground ? 1u : 0u;
            }
        }
        return touches != 0;
    }

    void RemoveRegion(PixelPosition start, float level) {
        stack_.assign(1, start);
        Remove(start);
        while (!stack_.empty()) {
            const PixelPosition at = stack_.back();
            stack_.pop_back();
            const int last = std::min(at.x + 1, width_ - 1);
            const int bottom = std::min(at.y + 1, height_ - 1);
            for (int y = std::max(at.y - 1, 0); y <= bottom; ++y) {
                for (int x = std::max(at.x - 1, 0); x <= last; ++x) {
                    const std::size_t i = Index({x, y});
                    if (open_[i] == kOpen && edges_[i] >= level) {
                        Remove({x, y});
                        stack_.push_back({x, y});
                    }
                }
            }
        }
    }

    void RemoveNextTo(const PixelRun& run, float level) {
        for (int y = std::max(run.y - 1, 0); y <= std::min(run.y + 1, height_ - 1); ++y) {
            for (int x = std::max(run.x0 - 1, 0); x <= std::min(run.x1 + 1, width_ - 1); ++x) {
                const std::size_t i = Index({x, y});
                if (open_[i] == kOpen && edges_[i] > level) {
                    RemoveRegion({x, y}, level);
                }
            }
        }
    }

    const float* edges_;
    int width_;
    int height_;
    ComponentAreaRange areas_;
    std::vector<PixelCode> open_;
    std::vector<PixelCode> candidates_;
    OpenComponents components_;
    NetworkAnalysis analysis_;
    PixelSet cleared_;  // became background in the sweeps since the last removal
    std::vector<PixelPosition> stack_;
};

std::vector<PixelCode> StrongPhase(const cv::Mat& edges, float upper, float scale, float maxRelativeClusterSize,
                                   DetectionObserver& observer) {
    const std::vector<float> levels = StrongLevels(upper);
    if (levels.empty()) {
        return std::vector<PixelCode>(edges.total(), kFree);
    }
    Phase phase(edges, 1.0f, {}, scale, maxRelativeClusterSize);
    const LevelBuckets buckets(edges.ptr<float>(), phase.OpenMap(), levels);
    for (std::size_t k = 0; k < levels.size(); ++k) {
        observer.Trace(DecimalText(levels[k]));
        phase.RemoveAbove(buckets, k);
        phase.Sweep();
    }
    return phase.TakeCandidates();
}

std::vector<PixelCode> WeakPhase(const cv::Mat& edges, float upper, const std::vector<PixelCode>& strong, float scale,
                                 float maxRelativeClusterSize, DetectionObserver& observer) {
    const std::vector<float> levels = WeakLevels(upper);
    Phase phase(edges, upper, strong, scale, maxRelativeClusterSize);
    const LevelBuckets buckets(edges.ptr<float>(), phase.OpenMap(), levels);
    phase.Sweep();
    for (std::size_t k = 0; k < levels.size(); ++k) {
        observer.Trace(DecimalText(levels[k]));
        phase.RemoveTouchingNetwork(buckets, k, levels[k]);
        phase.Sweep();
    }
    return phase.TakeCandidates();
}

void CheckMaps(const cv::Mat& edges, const cv::Mat& candidates) {
    if (edges.type() != CV_32FC1 || candidates.type() != CV_32FC1) {
        throw qvox::ToolkitError("Candidate detection: both maps must hold one channel of floats");
    }
    if (edges.size() != candidates.size()) {
        throw qvox::ToolkitError("Candidate detection: the edge map has " + std::to_string(edges.cols) + " x " +
                                 std::to_string(edges.rows) + " pixels, the candidate map " +
                                 std::to_string(candidates.cols) + " x " + std::to_string(candidates.rows));
    }
}

}  // namespace

float EdgePercentile(const cv::Mat& edges, float percentage) {
    constexpr int bins = 65536;
    std::vector<std::int64_t> histogram(bins, 0);
    for (int y = 0; y < edges.rows; ++y) {
        const float* row = edges.ptr<float>(y);
        for (int x = 0; x < edges.cols; ++x) {
            if (row[x] >= 0.0f && row[x] <= 1.0f) {
                const auto bin = static_cast<int>(std::floor(static_cast<double>(row[x]) * 65536.0));
                ++histogram[static_cast<std::size_t>(std::min(bin, bins - 1))];
            } else if (row[x] < 0.0f) {
                ++histogram[0];
            }
        }
    }
    const double share = static_cast<double>(percentage) / 100.0;
    const auto target = static_cast<std::int64_t>(static_cast<double>(edges.total()) * share);
    std::int64_t sum = 0;
    for (int bin = 0; bin < bins; ++bin) {
        if (sum >= target) {
            return static_cast<float>(bin) / 65536.0f;
        }
        sum += histogram[static_cast<std::size_t>(bin)];
    }
    return sum >= target ? 1.0f : 0.3f;
}

void DetectCandidates(const cv::Mat& edges, cv::Mat& candidates, float scale, float maxRelativeClusterSize,
                      DetectionObserver& observer) {
    CheckMaps(edges, candidates);
    if (edges.empty()) {
        return;
    }
    const cv::Mat strengths = edges.isContinuous() ? edges : edges.clone();
    const float upper = EdgePercentile(strengths, kUpperPercentage);
    const std::vector<PixelCode> strong = StrongPhase(strengths, upper, scale, maxRelativeClusterSize, observer);
    observer.Trace("thresh" + DecimalText(upper));
    const std::vector<PixelCode> weak = WeakPhase(strengths, upper, strong, scale, maxRelativeClusterSize, observer);
    for (int y = 0; y < edges.rows; ++y) {
        float* row = candidates.ptr<float>(y);
        for (int x = 0; x < edges.cols; ++x) {
            const std::size_t i =
                static_cast<std::size_t>(y) * static_cast<std::size_t>(edges.cols) + static_cast<std::size_t>(x);
            row[x] = strong[i] == kCandidate ? 2.0f : static_cast<float>(weak[i]);
        }
    }
}

}  // namespace Korvane

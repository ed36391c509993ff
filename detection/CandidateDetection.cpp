#include "CandidateDetection.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <locale>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "ComponentSweeper.h"
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

/// Pixels grouped by the first of a falling sequence of levels that they are strictly above, each group in raster order.
class LevelBuckets {
public:
    LevelBuckets(const std::vector<float>& edges, const std::vector<float>& levels) : starts_(levels.size() + 2, 0) {
        std::vector<std::uint16_t> bucketOf(edges.size());
        for (std::size_t i = 0; i < edges.size(); ++i) {
            const auto found =
                std::partition_point(levels.begin(), levels.end(), [&](float t) { return !(edges[i] > t); });
            bucketOf[i] = static_cast<std::uint16_t>(found - levels.begin());
            ++starts_[bucketOf[i] + 1u];
        }
        for (std::size_t k = 1; k < starts_.size(); ++k) {
            starts_[k] += starts_[k - 1];
        }
        std::vector<std::size_t> next(starts_.begin(), starts_.end() - 1);
        pixels_.resize(starts_[levels.size()]);
        for (std::size_t i = 0; i < edges.size(); ++i) {
            if (bucketOf[i] < levels.size()) {
                pixels_[next[bucketOf[i]]++] = static_cast<std::ptrdiff_t>(i);
            }
        }
    }
    const std::ptrdiff_t* Begin(std::size_t level) const { return pixels_.data() + starts_[level]; }
    const std::ptrdiff_t* End(std::size_t level) const { return pixels_.data() + starts_[level + 1]; }

private:
    std::vector<std::size_t> starts_;
    std::vector<std::ptrdiff_t> pixels_;
};

/// The working map of one phase with the sweeper that looks at it after every level.
class Phase {
public:
    Phase(const std::vector<float>& edges, int width, int height, float scale, float maxRelativeClusterSize)
        : edges_(edges),
          width_(width),
          height_(height),
          scale_(scale),
          maxRelativeClusterSize_(maxRelativeClusterSize),
          open_(edges.size()),
          candidates_(edges.size(), kFree) {}

    /// Open is what does not exceed `threshold`, and what `alsoOpen` holds as a candidate.
    void Start(float threshold, const std::vector<PixelCode>& alsoOpen) {
        for (std::size_t i = 0; i < edges_.size(); ++i) {
            const bool open = edges_[i] <= threshold || (!alsoOpen.empty() && alsoOpen[i] == kCandidate);
            open_[i] = open ? kOpen : kBackground;
        }
        const CodePlane openPlane{open_.data(), width_, width_, height_};
        const CodePlane candidatePlane{candidates_.data(), width_, width_, height_};
        sweeper_ = std::make_unique<ComponentSweeper>(openPlane, candidatePlane, scale_, maxRelativeClusterSize_);
        changed_ = true;
    }

    /// Nothing is left for a sweep to find where nothing was removed since the last one.
    void Sweep() {
        if (changed_) {
            sweeper_->Sweep(cleared_);
        }
        changed_ = false;
    }

    void RemoveAbove(const LevelBuckets& buckets, std::size_t level) {
        for (const std::ptrdiff_t* pixel = buckets.Begin(level); pixel != buckets.End(level); ++pixel) {
            if (open_[static_cast<std::size_t>(*pixel)] == kOpen) {
                Remove(*pixel);
            }
        }
    }

    /// Removes what is above `level` and touches the network, with all that hangs together with it at or above `level`.
    /// Beyond the pixels whose own level has come, only those next to what left the map since the level before can have
    /// begun to touch the network.
    void RemoveTouchingNetwork(const LevelBuckets& buckets, std::size_t index, float level) {
        for (const std::ptrdiff_t* pixel = buckets.Begin(index); pixel != buckets.End(index); ++pixel) {
            if (open_[static_cast<std::size_t>(*pixel)] == kOpen && TouchesNetwork(*pixel)) {
                RemoveRegion(*pixel, level);
            }
        }
        const std::vector<PixelRun> cleared = std::move(cleared_);
        cleared_.clear();
        for (const PixelRun& run : cleared) {
            RemoveNextTo(run, level);
        }
    }

    const std::vector<PixelCode>& Candidates() const { return candidates_; }

private:
    template <typename Visit>
    void ForEachAround(std::ptrdiff_t pixel, Visit visit) const {
        const int x = static_cast<int>(pixel % width_);
        const int y = static_cast<int>(pixel / width_);
        for (int v = std::max(y - 1, 0); v <= std::min(y + 1, height_ - 1); ++v) {
            for (int u = std::max(x - 1, 0); u <= std::min(x + 1, width_ - 1); ++u) {
                visit(static_cast<std::ptrdiff_t>(v) * width_ + u);
            }
        }
    }

    void Remove(std::ptrdiff_t pixel) {
        open_[static_cast<std::size_t>(pixel)] = kBackground;
        sweeper_->ComponentChanged(pixel);
        changed_ = true;
    }

    bool TouchesNetwork(std::ptrdiff_t pixel) const {
        bool touches = false;
        ForEachAround(pixel, [&](std::ptrdiff_t near) {
            touches = touches || open_[static_cast<std::size_t>(near)] == kBackground;
        });
        return touches;
    }

    void RemoveRegion(std::ptrdiff_t pixel, float level) {
        stack_.assign(1, pixel);
        Remove(pixel);
        while (!stack_.empty()) {
            const std::ptrdiff_t at = stack_.back();
            stack_.pop_back();
            ForEachAround(at, [&](std::ptrdiff_t near) {
                const auto i = static_cast<std::size_t>(near);
                if (open_[i] == kOpen && edges_[i] >= level) {
                    Remove(near);
                    stack_.push_back(near);
                }
            });
        }
    }

    void RemoveNextTo(const PixelRun& run, float level) {
        for (int y = std::max(run.y - 1, 0); y <= std::min(run.y + 1, height_ - 1); ++y) {
            for (int x = std::max(run.x0 - 1, 0); x <= std::min(run.x1 + 1, width_ - 1); ++x) {
                const std::ptrdiff_t pixel = static_cast<std::ptrdiff_t>(y) * width_ + x;
                const auto i = static_cast<std::size_t>(pixel);
                // What was cleared may have been touched again since: the network is what the map says now.
                if (open_[i] == kOpen && edges_[i] > level && TouchesNetwork(pixel)) {
                    RemoveRegion(pixel, level);
                }
            }
        }
    }

    const std::vector<float>& edges_;
    int width_;
    int height_;
    float scale_;
    float maxRelativeClusterSize_;
    std::vector<PixelCode> open_;
    std::vector<PixelCode> candidates_;
    std::unique_ptr<ComponentSweeper> sweeper_;
    std::vector<PixelRun> cleared_;
    std::vector<std::ptrdiff_t> stack_;
    bool changed_ = true;
};

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

std::vector<float> ValuesOf(const cv::Mat& map) {
    std::vector<float> values;
    values.reserve(map.total());
    for (int y = 0; y < map.rows; ++y) {
        const float* row = map.ptr<float>(y);
        values.insert(values.end(), row, row + map.cols);
    }
    return values;
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
    const std::vector<float> strengths = ValuesOf(edges);
    const float upper = EdgePercentile(edges, kUpperPercentage);

    Phase strong(strengths, edges.cols, edges.rows, scale, maxRelativeClusterSize);
    {
        strong.Start(1.0f, {});
        const std::vector<float> levels = StrongLevels(upper);
        const LevelBuckets buckets(strengths, levels);
        for (std::size_t k = 0; k < levels.size(); ++k) {
            observer.Trace(DecimalText(levels[k]));
            strong.RemoveAbove(buckets, k);
            strong.Sweep();
        }
    }

    observer.Trace("thresh" + DecimalText(upper));
    Phase weak(strengths, edges.cols, edges.rows, scale, maxRelativeClusterSize);
    weak.Start(upper, strong.Candidates());
    weak.Sweep();
    const std::vector<float> levels = WeakLevels(upper);
    const LevelBuckets buckets(strengths, levels);
    for (std::size_t k = 0; k < levels.size(); ++k) {
        observer.Trace(DecimalText(levels[k]));
        weak.RemoveTouchingNetwork(buckets, k, levels[k]);
        weak.Sweep();
    }

    for (int y = 0; y < edges.rows; ++y) {
        float* row = candidates.ptr<float>(y);
        for (int x = 0; x < edges.cols; ++x) {
            const std::size_t i =
                static_cast<std::size_t>(y) * static_cast<std::size_t>(edges.cols) + static_cast<std::size_t>(x);
            row[x] = strong.Candidates()[i] == kCandidate ? 2.0f : static_cast<float>(weak.Candidates()[i]);
        }
    }
}

}  // namespace Korvane

#include "CandidateDetection.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <locale>
#include <sstream>
#include <string>
#include <vector>

#include "ComponentSweeper.h"
#include "FloatWords.h"
#include "LevelBuckets.h"
#include "NetworkAnalysis.h"
#include "OpenComponents.h"
#include "ToolkitError.h"

namespace Korvane {
namespace {

constexpr float kLevelStep = 0.005f;
/// Pixels have numbers of 32 bits with a sign, rows whole words, and what is beyond the picture a number more.
constexpr std::int64_t kMostPixels = INT32_MAX - 64;
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

struct CandidateMap {
    BitPlane candidates;
    BitPlane rings;
};

/// The working map of one phase, with all that is known about its components and its background.
class Phase {
public:
    /// Open is what does not exceed `threshold`, and `alsoOpen`.
    Phase(const cv::Mat& edges, float threshold, const BitPlane& alsoOpen, float scale, float maxRelativeClusterSize)
        : edges_(edges.ptr<float>()),
          width_(edges.cols),
          height_(edges.rows),
          areas_(AreaRangeFor(scale, maxRelativeClusterSize)),
          components_(OpenPixels(edges, threshold, alsoOpen), std::max(areas_.maximum, areas_.minimum - 1)),
          analysis_(Complement(components_.Open()), scale),
          removable_(width_, height_) {}

    const BitPlane& Open() const { return components_.Open(); }
    CandidateMap Candidates() const {
        CandidateMap map{BitPlane(width_, height_), BitPlane(width_, height_)};
        for (int y = 0; y < height_; ++y) {
            for (int column = 0; column < Grid().WordsPerRow(); ++column) {
                const std::int32_t word = Grid().WordAt(column * 64, y);
                map.candidates[word] = analysis_.CandidatesIn(column, y);
                map.rings[word] = analysis_.RingsIn(column, y);
            }
        }
        return map;
    }

    /// What a sweep over the whole map would find is in the components that lost pixels since the last one; those that
    /// are too large may become smaller, all others leave with their first sweep.
    void Sweep() {
        for (const TakenComponent& component : components_.TakeSmall()) {
            for (const WordPart& part : component.parts) {
                removable_[part.word] &= ~part.pixels;
            }
            if (component.area < areas_.minimum) {
                for (const WordPart& part : component.parts) {
                    analysis_.BackgroundAdded(part);
                }
                erased_.insert(erased_.end(), component.parts.begin(), component.parts.end());
                continue;
            }
            analysis_.Analyse(component.parts);
        }
    }

    void RemoveAbove(const LevelBuckets& buckets, std::size_t level) {
        erased_.clear();  // what left the map starts nothing here
        ForEachOpenPixel(buckets.Above(level), [&](PixelPosition at) { Remove(at); });
        TellComponents();
    }

    /// Removes what is above `level` and touches the network, with all that hangs together with it at or above `level`.
    /// Beyond the pixels whose own level has come, only those next to what left the map since the level before can have
    /// begun to touch the network.
    void RemoveTouchingNetwork(const LevelBuckets& buckets, std::size_t index, float level) {
        ForEachOpenPixel(buckets.At(index), [&](PixelPosition at) { removable_.Add(at.x, at.y); });
        if (index > 0) {
            // These have been removable since the level before: some may leave with others before their turn.
            ForEachOpenPixel(buckets.At(index - 1), [&](PixelPosition at) {
                if (removable_.Has(at.x, at.y)) {
                    RemoveIfTouching(at);
                }
            });
        }
        ForEachOpenPixel(buckets.AboveOnly(index), [&](PixelPosition at) {
            removable_.Add(at.x, at.y);
            RemoveIfTouching(at);
        });
        analysis_.TakeCleared([&](int column, int y, Word pixels) { RemoveNextTo(column, y, pixels, level); });
        for (const WordPart& part : erased_) {
            const int y = part.word / Grid().WordsPerRow();
            RemoveNextTo(part.word - Grid().WordAt(0, y), y, part.pixels, level);
        }
        erased_.clear();
        TellComponents();
    }

private:
    using Word = BitGrid::Word;
    static constexpr std::size_t kToldAtOnce = 4096;

    static BitPlane OpenPixels(const cv::Mat& edges, float threshold, const BitPlane& alsoOpen) {
        BitPlane open(edges.cols, edges.rows);
        for (int y = 0; y < edges.rows; ++y) {
            for (int x = 0; x < edges.cols; x += 64) {
                const std::int32_t word = open.Grid().WordAt(x, y);
                open[word] = AtMost(edges.ptr<float>(y) + x, std::min(64, edges.cols - x), threshold) | alsoOpen[word];
            }
        }
        return open;
    }

    static BitPlane Complement(const BitPlane& plane) {
        BitPlane complement(plane.Width(), plane.Height());
        for (int y = 0; y < plane.Height(); ++y) {
            for (int x = 0; x < plane.Width(); x += 64) {
                const std::int32_t word = plane.Grid().WordAt(x, y);
                complement[word] = ~plane[word] & ~Word{0} >> (64 - std::min(64, plane.Width() - x));
            }
        }
        return complement;
    }

    const BitGrid& Grid() const { return components_.Open().Grid(); }

    /// Calls visit(position) for each of the pixels that was open after the last sweep: what has been removed since may
    /// be among them.
    template <typename Visit>
    void ForEachOpenPixel(const LevelBuckets::Pixels& pixels, Visit visit) const {
        PixelPosition at{0, 0};
        std::int32_t rowStart = 0;
        for (const std::int32_t pixel : pixels) {
            if (static_cast<std::uint32_t>(pixel - rowStart) >= static_cast<std::uint32_t>(width_)) {
                at.y = pixel / width_;
                rowStart = at.y * width_;
            }
            at.x = pixel - rowStart;
            if (components_.Open().Has(at.x, at.y)) {
                visit(at);
            }
        }
    }

    void Remove(PixelPosition at) {
        removable_.Remove(at.x, at.y);
        analysis_.BackgroundAdded(at.x, at.y);
        removed_.push_back(at);
        if (removed_.size() == kToldAtOnce) {
            TellComponents();
        }
    }

    void TellComponents() {
        components_.Remove(removed_);
        removed_.clear();
    }

    void RemoveIfTouching(PixelPosition at) {
        if (analysis_.IsBackgroundAround(at.x, at.y)) {
            RemoveRegion(at);
        }
    }

    /// Which regions are removed first makes no difference: two that touch are one.
    void RemoveRegion(PixelPosition start) {
        Remove(start);
        for (PixelPosition at = start;;) {
            for (unsigned near = removable_.Nine(at.x, at.y); near != 0; near &= near - 1) {
                const int i = BitGrid::Lowest(near);
                const PixelPosition next{at.x + i % 3 - 1, at.y + i / 3 - 1};
                Remove(next);
                stack_.push_back(next);
            }
            if (stack_.empty()) {
                return;
            }
            at = stack_.back();
            stack_.pop_back();
        }
    }

    /// Removes what is above `level` and touches what is network of some pixels of a column of words: what left the map
    /// may have been touched since.
    void RemoveNextTo(int column, int y, Word pixels, float level) {
        const Word network = pixels & analysis_.BackgroundIn(column, y);
        RemoveAmong(column, y, network | network << 1 | network >> 1, level);
        if ((network & 1u) != 0 && column > 0) {
            RemoveAmong(column - 1, y, Word{1} << 63, level);
        }
        if (network >> 63 != 0 && column + 1 < Grid().WordsPerRow()) {
            RemoveAmong(column + 1, y, 1, level);
        }
    }

    /// Removes what can be removed above `level` of pixels of a column of words, in row y and the two beside it.
    void RemoveAmong(int column, int y, Word pixels, float level) {
        for (int v = y - 1; v <= y + 1; ++v) {
            const std::int32_t word = Grid().WordAt(column * 64, v);
            for (Word left = pixels; (left & removable_[word]) != 0; left &= left - 1) {
                left &= removable_[word];
                const int x = column * 64 + BitGrid::Lowest(left);
                if (edges_[static_cast<std::ptrdiff_t>(v) * width_ + x] > level) {
                    RemoveRegion({x, v});
                }
            }
        }
    }

    const float* edges_;
    int width_;
    int height_;
    ComponentAreaRange areas_;
    OpenComponents components_;
    NetworkAnalysis analysis_;
    BitPlane removable_;            // open, and at or above the level
    std::vector<WordPart> erased_;  // components that were too small, since the last removal
    std::vector<PixelPosition> stack_;
    std::vector<PixelPosition> removed_;  // what the components have not been told of
};

BitPlane StrongPhase(const cv::Mat& edges, float upper, float scale, float maxRelativeClusterSize,
                     DetectionObserver& observer) {
    const std::vector<float> levels = StrongLevels(upper);
    BitPlane nothing(edges.cols, edges.rows);
    if (levels.empty()) {
        return nothing;
    }
    Phase phase(edges, 1.0f, nothing, scale, maxRelativeClusterSize);
    const LevelBuckets buckets(edges.ptr<float>(), phase.Open(), levels, kLevelStep);
    for (std::size_t k = 0; k < levels.size(); ++k) {
        observer.Trace(DecimalText(levels[k]));
        phase.RemoveAbove(buckets, k);
        phase.Sweep();
    }
    return phase.Candidates().candidates;
}

CandidateMap WeakPhase(const cv::Mat& edges, float upper, const BitPlane& strong, float scale,
                       float maxRelativeClusterSize, DetectionObserver& observer) {
    const std::vector<float> levels = WeakLevels(upper);
    Phase phase(edges, upper, strong, scale, maxRelativeClusterSize);
    const LevelBuckets buckets(edges.ptr<float>(), phase.Open(), levels, kLevelStep);
    phase.Sweep();
    for (std::size_t k = 0; k < levels.size(); ++k) {
        observer.Trace(DecimalText(levels[k]));
        phase.RemoveTouchingNetwork(buckets, k, levels[k]);
        phase.Sweep();
    }
    return phase.Candidates();
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
    if (static_cast<std::int64_t>(edges.cols) * edges.rows > kMostPixels) {
        throw qvox::ToolkitError("Candidate detection: a picture of " + std::to_string(edges.cols) + " x " +
                                 std::to_string(edges.rows) + " pixels is too large; at most " +
                                 std::to_string(kMostPixels) + " pixels are possible");
    }
}

}  // namespace

float EdgePercentile(const cv::Mat& edges, float percentage) {
    constexpr int bins = 65536;
    constexpr int noBin = bins;
    constexpr int atOnce = 256;
    std::vector<std::int64_t> histogram(bins + 1, 0);
    std::array<std::int32_t, atOnce> binOf{};
    for (int y = 0; y < edges.rows; ++y) {
        for (int x = 0; x < edges.cols; x += atOnce) {
            const float* values = edges.ptr<float>(y) + x;
            const int count = std::min(atOnce, edges.cols - x);
            for (int i = 0; i < count; ++i) {
                // Exact but for the cut: 65536 is a power of two.
                const float value = values[i];
                float scaled = value * static_cast<float>(bins);
                scaled = scaled < static_cast<float>(bins - 1) ? scaled : static_cast<float>(bins - 1);
                scaled = scaled > 0.0f ? scaled : 0.0f;
                binOf[static_cast<std::size_t>(i)] = value <= 1.0f ? static_cast<std::int32_t>(scaled) : noBin;
            }
            for (int i = 0; i < count; ++i) {
                ++histogram[static_cast<std::size_t>(binOf[static_cast<std::size_t>(i)])];
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
    const BitPlane strong = StrongPhase(strengths, upper, scale, maxRelativeClusterSize, observer);
    observer.Trace("thresh" + DecimalText(upper));
    const CandidateMap weak = WeakPhase(strengths, upper, strong, scale, maxRelativeClusterSize, observer);
    for (int y = 0; y < edges.rows; ++y) {
        float* row = candidates.ptr<float>(y);
        std::fill_n(row, edges.cols, static_cast<float>(kFree));
        for (int x = 0; x < edges.cols; x += 64) {
            const std::int32_t word = strong.Grid().WordAt(x, y);
            const auto set = [&](BitGrid::Word pixels, PixelCode code) {
                ForEachRun(pixels, [&](int first, int last) {
                    std::fill(row + x + first, row + x + last + 1, static_cast<float>(code));
                });
            };
            set(weak.rings[word] & ~strong[word], kRing);
            set(weak.candidates[word] | strong[word], kCandidate);
        }
    }
}

}  // namespace Korvane

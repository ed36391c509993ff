#include "CandidateDetection.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <locale>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "LevelSweep.h"
#include "NominalSizes.h"
#include "ToolkitError.h"

namespace Korvane {
namespace {

struct CandidatePixels {
    level_sweep::PixelMask candidates;
    level_sweep::PixelMask rings;
};

std::int64_t TruncatedArea(float area) {
    constexpr float limit = 9.0e15f;  // far beyond any image
    return static_cast<std::int64_t>(std::min(std::max(area, -limit), limit));
}

int TruncatedLength(float length) {
    constexpr float limit = 2147483520.0f;  // the largest float below 2^31
    return static_cast<int>(std::min(std::max(length, -limit), limit));
}

std::string DecimalText(float value) {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << value;
    return text.str();
}

/// Repeated subtraction, and not first - k * step, which rounds differently.
std::vector<float> LevelsAbove(float lower, float first) {
    std::vector<float> levels;
    for (float t = first; t > lower; t = t - kLevelStep) {
        levels.push_back(t);
    }
    return levels;
}

level_sweep::ComponentSizes SizesFor(float scale, float maxRelativeClusterSize) {
    const float relative = scale * maxRelativeClusterSize;
    return {TruncatedArea(relative * kMinimumComponentAreaPx), MaximumComponentArea(scale, maxRelativeClusterSize),
            TruncatedLength(kLongBranchPx * scale)};
}

/// Candidates between the strong edges: every pixel above a level goes, wherever it lies.
level_sweep::PixelMask StrongPhase(const level_sweep::MapView& edges, float upper,
                                   const level_sweep::ComponentSizes& sizes, DetectionObserver& observer) {
    const std::vector<float> levels = LevelsAbove(upper, kFirstLevel);
    if (levels.empty()) {
        return {};
    }
    level_sweep::LevelSweep sweep(edges, kFirstLevel, {}, levels, kLevelStep, sizes);
    for (std::size_t k = 0; k < levels.size(); ++k) {
        observer.Trace(DecimalText(levels[k]));
        sweep.RemoveAbove(k);
        sweep.Sweep();
    }
    return sweep.Candidates();
}

/// All candidates: those between strong edges and the weak ones that continue them, and those of the strong phase,
/// whose pixels are open again here and override what this phase finds in their place.
CandidatePixels WeakPhase(const level_sweep::MapView& edges, float upper, const level_sweep::PixelMask& strong,
                          const level_sweep::ComponentSizes& sizes, DetectionObserver& observer) {
    const std::vector<float> levels = LevelsAbove(kLowestLevel, upper);
    level_sweep::LevelSweep sweep(edges, upper, strong, levels, kLevelStep, sizes);
    sweep.Sweep();
    for (std::size_t k = 0; k < levels.size(); ++k) {
        observer.Trace(DecimalText(levels[k]));
        sweep.RemoveConnected(k);
        sweep.Sweep();
    }
    CandidatePixels found{sweep.Candidates(), sweep.Rings()};
    for (std::size_t word = 0; word < strong.size(); ++word) {
        found.candidates[word] |= strong[word];
        found.rings[word] &= ~strong[word];
    }
    return found;
}

/// The codes of one row; a candidate overrides a ring. Most words are free or a candidate as a whole.
void WriteCodes(const std::uint64_t* candidates, const std::uint64_t* rings, float* row, int width) {
    for (int x = 0; x < width; x += 64) {
        const int count = std::min(64, width - x);
        const std::uint64_t inCandidates = candidates[x / 64];
        const std::uint64_t inRings = rings[x / 64] & ~inCandidates;
        std::fill_n(row + x, count, ~inCandidates == 0 ? kCandidateCode : kFreeCode);
        if (~inCandidates == 0) continue;
        for (std::uint64_t left = inCandidates; left != 0; left &= left - 1) {
            row[x + __builtin_ctzll(left)] = kCandidateCode;
        }
        for (std::uint64_t left = inRings; left != 0; left &= left - 1) {
            row[x + __builtin_ctzll(left)] = kRingCode;
        }
    }
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
    if (static_cast<std::int64_t>(edges.cols) * edges.rows > level_sweep::LevelSweep::kMaxPixels) {
        throw qvox::ToolkitError("Candidate detection: a picture of " + std::to_string(edges.cols) + " x " +
                                 std::to_string(edges.rows) + " pixels is too large; at most " +
                                 std::to_string(level_sweep::LevelSweep::kMaxPixels) + " pixels are possible");
    }
}

/// Values in each bin over 0 .. 1, the last one for all others.
using EdgeHistogram = std::vector<std::int64_t>;

void CountRows(const cv::Mat& edges, const qvox::PartRange& rows, EdgeHistogram& histogram) {
    constexpr int kNoBin = kPercentileBins;
    constexpr auto kLastBin = static_cast<float>(kPercentileBins - 1);
    constexpr int kAtOnce = 256;
    std::array<std::int32_t, kAtOnce> binOf{};
    for (int y = static_cast<int>(rows.first); y < static_cast<int>(rows.end); ++y) {
        for (int x = 0; x < edges.cols; x += kAtOnce) {
            const float* values = edges.ptr<float>(y) + x;
            const int count = std::min(kAtOnce, edges.cols - x);
            for (int i = 0; i < count; ++i) {
                // Exact but for the cut: the number of bins is a power of two.
                const float value = values[i];
                float scaled = value * static_cast<float>(kPercentileBins);
                scaled = scaled < kLastBin ? scaled : kLastBin;
                scaled = scaled > 0.0f ? scaled : 0.0f;
                binOf[static_cast<std::size_t>(i)] = value <= 1.0f ? static_cast<std::int32_t>(scaled) : kNoBin;
            }
            for (int i = 0; i < count; ++i) {
                ++histogram[static_cast<std::size_t>(binOf[static_cast<std::size_t>(i)])];
            }
        }
    }
}

EdgeHistogram CountEdges(const cv::Mat& edges, const qvox::PartRunner& run) {
    // A histogram costs as much as so many pixels.
    constexpr std::uint64_t kFewestPixels = std::uint64_t{1} << 20;
    const std::uint64_t rowCount = static_cast<std::uint64_t>(edges.rows);
    const std::uint64_t fewest = kFewestPixels / static_cast<std::uint64_t>(std::max(edges.cols, 1)) + 1;
    std::vector<EdgeHistogram> histograms(qvox::PartsOf(rowCount, fewest));
    for (EdgeHistogram& histogram : histograms) histogram.assign(kPercentileBins + 1, 0);
    qvox::RunRanges(rowCount, fewest, run,
                    [&](const qvox::PartRange& rows) { CountRows(edges, rows, histograms[rows.part]); });
    EdgeHistogram all = std::move(histograms.front());
    for (std::size_t i = 1; i < histograms.size(); ++i) {
        std::transform(all.begin(), all.end(), histograms[i].begin(), all.begin(), std::plus<>{});
    }
    return all;
}

}  // namespace

float EdgePercentile(const cv::Mat& edges, float percentage, const qvox::PartRunner& run) {
    const EdgeHistogram histogram = CountEdges(edges, run);
    const double share = static_cast<double>(percentage) / 100.0;
    const auto target = static_cast<std::int64_t>(static_cast<double>(edges.total()) * share);
    std::int64_t sum = 0;
    for (int bin = 0; bin < kPercentileBins; ++bin) {
        if (sum >= target) {
            return static_cast<float>(bin) / static_cast<float>(kPercentileBins);
        }
        sum += histogram[static_cast<std::size_t>(bin)];
    }
    return sum >= target ? 1.0f : kPercentileFallback;
}

std::int64_t MaximumComponentArea(float scale, float maxRelativeClusterSize) {
    const float relative = scale * maxRelativeClusterSize;
    return TruncatedArea(relative * kMaximumComponentAreaPx);
}

void DetectCandidates(const cv::Mat& edges, cv::Mat& candidates, float scale, float maxRelativeClusterSize,
                      DetectionObserver& observer, const qvox::PartRunner& run) {
    CheckMaps(edges, candidates);
    if (edges.empty()) {
        return;
    }
    const cv::Mat strengths = edges.isContinuous() ? edges : edges.clone();
    const level_sweep::MapView view{strengths.ptr<float>(), strengths.cols, strengths.rows};
    const level_sweep::ComponentSizes sizes = SizesFor(scale, maxRelativeClusterSize);
    const float upper = EdgePercentile(strengths, kStrongEdgePercentage, run);
    const level_sweep::PixelMask strong = StrongPhase(view, upper, sizes, observer);
    observer.Trace("thresh" + DecimalText(upper));
    const CandidatePixels found = WeakPhase(view, upper, strong, sizes, observer);
    const std::size_t wordsPerRow = (static_cast<std::size_t>(edges.cols) + 63) / 64;
    qvox::RunRows(static_cast<std::uint64_t>(edges.rows), run, [&](const qvox::PartRange& rows) {
        for (std::uint64_t y = rows.first; y < rows.end; ++y) {
            const std::size_t first = static_cast<std::size_t>(y) * wordsPerRow;
            WriteCodes(&found.candidates[first], &found.rings[first], candidates.ptr<float>(static_cast<int>(y)),
                       edges.cols);
        }
    });
}

}  // namespace Korvane

#include "CandidateDetection.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <locale>
#include <sstream>
#include <string>
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

std::vector<float> StrongLevels(float upper) {
    std::vector<float> levels;
    for (float t = kFirstLevel; t > upper; t = t - kLevelStep) {
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

level_sweep::ComponentSizes SizesFor(float scale, float maxRelativeClusterSize) {
    const float relative = scale * maxRelativeClusterSize;
    return {TruncatedArea(relative * kMinimumComponentAreaPx), TruncatedArea(relative * kMaximumComponentAreaPx),
            TruncatedLength(kLongBranchPx * scale)};
}

level_sweep::PixelMask StrongPhase(const level_sweep::MapView& edges, float upper,
                                   const level_sweep::ComponentSizes& sizes, DetectionObserver& observer) {
    const std::vector<float> levels = StrongLevels(upper);
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

CandidatePixels WeakPhase(const level_sweep::MapView& edges, float upper, const level_sweep::PixelMask& strong,
                          const level_sweep::ComponentSizes& sizes, DetectionObserver& observer) {
    const std::vector<float> levels = WeakLevels(upper);
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

/// Gives `code` to the pixels of a row that have a bit in its words.
void SetPixels(float* row, const std::uint64_t* words, int width, float code) {
    for (int x0 = 0; x0 < width; x0 += 64) {
        std::uint64_t bits = words[x0 / 64];
        while (bits != 0) {
            const int first = __builtin_ctzll(bits);
            const std::uint64_t from = bits >> first;
            const int length = ~from == 0 ? 64 : __builtin_ctzll(~from);
            std::fill_n(row + x0 + first, length, code);
            bits = first + length == 64 ? 0 : bits & (~std::uint64_t{0} << (first + length));
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
    const level_sweep::MapView view{strengths.ptr<float>(), strengths.cols, strengths.rows};
    const level_sweep::ComponentSizes sizes = SizesFor(scale, maxRelativeClusterSize);
    const float upper = EdgePercentile(strengths, kStrongEdgePercentage);
    const level_sweep::PixelMask strong = StrongPhase(view, upper, sizes, observer);
    observer.Trace("thresh" + DecimalText(upper));
    const CandidatePixels found = WeakPhase(view, upper, strong, sizes, observer);
    const std::size_t wordsPerRow = (static_cast<std::size_t>(edges.cols) + 63) / 64;
    for (int y = 0; y < edges.rows; ++y) {
        float* row = candidates.ptr<float>(y);
        const std::size_t first = static_cast<std::size_t>(y) * wordsPerRow;
        std::fill_n(row, edges.cols, kFreeCode);
        SetPixels(row, &found.rings[first], edges.cols, kRingCode);
        SetPixels(row, &found.candidates[first], edges.cols, kCandidateCode);
    }
}

}  // namespace Korvane

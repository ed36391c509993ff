#include "SharpPiece.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <opencv2/imgproc.hpp>
#include <utility>
#include <vector>

namespace Korvane {

namespace {

constexpr int kMargin = 8;  // what is looked at around a piece

// Of the whole range of grey levels, and of the noise of the surroundings.
constexpr float kLeastContrast = 0.1f;
constexpr float kLeastContrastToNoise = 2.0f;

constexpr int kShortestBarPx = 20;
constexpr int kLeastBarAspect = 3;
constexpr double kFullRow = 0.95;           // of the longest run: a row that belongs to the band
constexpr double kLeastBandShare = 0.6;     // of the piece's pixels
constexpr double kLeastStraightShare = 0.85;  // of the band's length, where its edges fall off within two pixels
constexpr std::size_t kLeastSurroundings = 8;

/// The level half way to the surroundings of a piece, and the share of them that lies below it: less than 1 in noise.
struct HalfWay {
    float level = 0.0f;
    double shareAround = 1.0;
};

/// A piece cut out with its margin.
struct Cutout {
    cv::Mat1f levels;
    cv::Mat1b piece;
    cv::Mat1b others;  // other pieces and what touches them
};

Cutout CutOut(const LevelsBelow& levels, const cv::Mat1i& labels, int label, const cv::Rect& box) {
    const cv::Rect wide(box.x - kMargin, box.y - kMargin, box.width + 2 * kMargin, box.height + 2 * kMargin);
    const cv::Rect part = wide & cv::Rect({0, 0}, levels.Size());
    Cutout cut;
    cut.levels = levels.Part(part);
    const cv::Mat1i numbers = labels(part);
    cut.piece.create(part.size());
    cv::Mat1b rest(part.size());
    for (int y = 0; y < part.height; ++y) {
        for (int x = 0; x < part.width; ++x) {
            const int number = numbers(y, x);
            cut.piece(y, x) = number == label ? 255 : 0;
            rest(y, x) = number > 0 && number != label ? 255 : 0;
        }
    }
    cv::dilate(rest, cut.others, cv::Mat());
    return cut;
}

/// The piece grown by a square of that many pixels on each side.
cv::Mat1b Grown(const cv::Mat1b& piece, int pixels) {
    cv::Mat1b grown;
    const int side = 2 * pixels + 1;
    cv::dilate(piece, grown, cv::getStructuringElement(cv::MORPH_RECT, {side, side}));
    return grown;
}

/// Levels in one growth of the piece and not in another, without other pieces.
std::vector<float> LevelsBetween(const Cutout& cut, const cv::Mat1b& inner, const cv::Mat1b& outer) {
    std::vector<float> found;
    for (int y = 0; y < cut.levels.rows; ++y) {
        for (int x = 0; x < cut.levels.cols; ++x) {
            if (outer(y, x) != 0 && inner(y, x) == 0 && cut.others(y, x) == 0) found.push_back(cut.levels(y, x));
        }
    }
    return found;
}

float Median(std::vector<float> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

double ShareBelow(const std::vector<float>& values, float limit) {
    if (values.empty()) return 0.0;
    const auto below = std::count_if(values.begin(), values.end(), [=](float value) { return value <= limit; });
    return static_cast<double>(below) / static_cast<double>(values.size());
}

double Solidity(const cv::Mat1b& piece, int area) {
    std::vector<cv::Point> corners;
    for (int y = 0; y < piece.rows; ++y) {
        for (int x = 0; x < piece.cols; ++x) {
            if (piece(y, x) == 0) continue;
            for (const auto& [dx, dy] : {std::pair{0, 0}, {1, 0}, {0, 1}, {1, 1}}) corners.emplace_back(x + dx, y + dy);
        }
    }
    std::vector<cv::Point> hull;
    cv::convexHull(corners, hull);
    return area / cv::contourArea(hull);
}

/// First column and one past the last of the longest run of a row.
std::pair<int, int> LongestRun(const cv::Mat1b& piece, int y) {
    std::pair<int, int> longest{0, 0};
    for (int x = 0; x < piece.cols;) {
        if (piece(y, x) == 0) {
            ++x;
            continue;
        }
        const int begin = x;
        while (x < piece.cols && piece(y, x) != 0) ++x;
        if (x - begin > longest.second - longest.first) longest = {begin, x};
    }
    return longest;
}

/// The share of the columns of [begin, end) in which row y, beyond the band's edge, has fallen half the way.
double FallenAlong(const cv::Mat1f& levels, int y, int begin, int end, const HalfWay& half) {
    int fallen = 0;
    for (int x = begin; x < end; ++x) fallen += levels(y, x) <= half.level ? 1 : 0;
    return static_cast<double>(fallen) / (end - begin) / half.shareAround;
}

/// The piece as a lying bar.
std::optional<Bar> LyingBar(const cv::Mat1f& levels, const cv::Mat1b& piece, int area, const HalfWay& half) {
    std::vector<std::pair<int, int>> runs;
    int length = 0;
    for (int y = 0; y < piece.rows; ++y) {
        runs.push_back(LongestRun(piece, y));
        length = std::max(length, runs.back().second - runs.back().first);
    }
    if (length < kShortestBarPx) return std::nullopt;
    const auto isFull = [&](int y) {
        const auto& [begin, end] = runs[static_cast<std::size_t>(y)];
        return end - begin >= kFullRow * length;
    };
    int top = 0;
    while (!isFull(top)) ++top;
    int bottom = top;
    int begin = 0;
    int end = piece.cols;
    for (; bottom < piece.rows && isFull(bottom); ++bottom) {
        begin = std::max(begin, runs[static_cast<std::size_t>(bottom)].first);
        end = std::min(end, runs[static_cast<std::size_t>(bottom)].second);
    }
    for (int y = bottom; y < piece.rows; ++y) {
        if (isFull(y)) return std::nullopt;
    }
    const int thickness = bottom - top;
    if (thickness * kLeastBarAspect > length || begin >= end) return std::nullopt;
    if (static_cast<double>(thickness) * (end - begin) < kLeastBandShare * area) return std::nullopt;
    // Two pixels beyond each edge that lies inside the image.
    bool hasEdge = false;
    for (const int y : {top - 2, bottom + 1}) {
        if (y < 0 || y >= levels.rows) continue;
        if (FallenAlong(levels, y, begin, end, half) < kLeastStraightShare) return std::nullopt;
        hasEdge = true;
    }
    return hasEdge ? std::optional<Bar>({length, thickness}) : std::nullopt;
}

}  // namespace

cv::Mat1f LevelsBelow::Part(const cv::Rect& part) const {
    cv::Mat1f levels(part.size());
    for (int y = 0; y < part.height; ++y) {
        const float* const row = image_->Row(static_cast<std::uint64_t>(part.y + y)) + part.x;
        for (int x = 0; x < part.width; ++x) levels(y, x) = Below(row[x]);
    }
    return levels;
}

cv::Mat1b LevelsBelow::AtLeast(float level) const {
    cv::Mat1b found(Size());
    for (int y = 0; y < found.rows; ++y) {
        const float* const row = image_->Row(static_cast<std::uint64_t>(y));
        std::uint8_t* const to = found[y];
        for (int x = 0; x < found.cols; ++x) to[x] = Below(row[x]) >= level ? 255 : 0;
    }
    return found;
}

std::optional<SharpPiece> DescribePiece(const LevelsBelow& levels, const cv::Mat1i& labels, int label, const cv::Rect& box,
                                        int area, float range) {
    const Cutout cut = CutOut(levels, labels, label, box);
    const std::array<cv::Mat1b, 3> near = {cut.piece, Grown(cut.piece, 1), Grown(cut.piece, 2)};
    const std::vector<float> far = LevelsBetween(cut, Grown(cut.piece, 3), Grown(cut.piece, 6));
    if (far.size() < kLeastSurroundings) return std::nullopt;
    const float around = Median(far);
    std::vector<float> deviations;
    deviations.reserve(far.size());
    for (const float level : far) deviations.push_back(std::fabs(level - around));
    const float noise = 1.48f * Median(deviations);
    if (-around < kLeastContrast * range || -around < kLeastContrastToNoise * noise) return std::nullopt;

    SharpPiece found;
    found.label = label;
    found.box = box;
    found.area = area;
    const HalfWay half = {0.5f * around, ShareBelow(far, 0.5f * around)};
    found.contrastToNoise = noise > 0.0f ? -around / noise : std::numeric_limits<float>::infinity();
    found.fallenAt1 = ShareBelow(LevelsBetween(cut, near[0], near[1]), half.level) / half.shareAround;
    found.fallenAt2 = ShareBelow(LevelsBetween(cut, near[1], near[2]), half.level) / half.shareAround;
    found.solidity = Solidity(cut.piece, area);
    found.bar = LyingBar(cut.levels, cut.piece, area, half);
    if (!found.bar) {
        cv::Mat1f levelsTurned;
        cv::Mat1b pieceTurned;
        cv::transpose(cut.levels, levelsTurned);
        cv::transpose(cut.piece, pieceTurned);
        found.bar = LyingBar(levelsTurned, pieceTurned, area, half);
    }
    return found;
}

}  // namespace Korvane

#include "reference/PlainCandidateDetection.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <locale>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <opencv2/imgproc.hpp>

#include "reference/PlainComponentSweep.h"
#include "reference/PlainMaskedOperations.h"

namespace korvane_reference {

namespace {

constexpr float kStep = 0.005f;
constexpr float kLowerBound = 0.05f;

bool Inside(const cv::Mat& map, int y, int x) { return x >= 0 && y >= 0 && x < map.cols && y < map.rows; }

std::string Text(const char* before, float value) {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << before << value;
    return text.str();
}

void RemoveAbove(const cv::Mat& edges, cv::Mat& open, float level) {
    for (int y = 0; y < open.rows; ++y) {
        for (int x = 0; x < open.cols; ++x) {
            if (edges.at<float>(y, x) > level && open.at<float>(y, x) == 1.0f) open.at<float>(y, x) = 0.0f;
        }
    }
}

bool TouchesRemoved(const cv::Mat& open, int y, int x) {
    for (int dy = -1; dy <= 1; ++dy) {
        for (int dx = -1; dx <= 1; ++dx) {
            const float value = Inside(open, y + dy, x + dx) ? open.at<float>(y + dy, x + dx) : 2147483648.0f;
            if (value == 0.0f) return true;
        }
    }
    return false;
}

void RemoveRegion(const cv::Mat& edges, cv::Mat& open, float level, int startY, int startX) {
    std::set<std::pair<int, int>> visited{{startY, startX}};
    std::vector<std::pair<int, int>> waiting{{startY, startX}};
    while (!waiting.empty()) {
        const auto [y, x] = waiting.back();
        waiting.pop_back();
        for (int ny = y - 1; ny <= y + 1; ++ny) {
            for (int nx = x - 1; nx <= x + 1; ++nx) {
                if (!Inside(open, ny, nx)) continue;
                if (!(edges.at<float>(ny, nx) >= level) || open.at<float>(ny, nx) != 1.0f) continue;
                if (visited.insert({ny, nx}).second) waiting.emplace_back(ny, nx);
            }
        }
    }
    for (const auto& [y, x] : visited) open.at<float>(y, x) = 0.0f;
}

void RemoveTouchingAbove(const cv::Mat& edges, cv::Mat& open, float level) {
    for (int y = 0; y < open.rows; ++y) {
        for (int x = 0; x < open.cols; ++x) {
            if (!(edges.at<float>(y, x) > level) || open.at<float>(y, x) != 1.0f) continue;
            if (TouchesRemoved(open, y, x)) RemoveRegion(edges, open, level, y, x);
        }
    }
}

cv::Mat MaskOf(const cv::Mat& map, double code) {
    const cv::Mat equal = map == code;
    cv::Mat mask;
    equal.convertTo(mask, CV_32F);
    mask = mask / 255.0;
    return mask;
}

}  // namespace

float PlainPercentile(const cv::Mat& map, double percentage) {
    std::vector<std::int64_t> bins(65536, 0);
    for (int y = 0; y < map.rows; ++y) {
        for (int x = 0; x < map.cols; ++x) {
            const float value = map.at<float>(y, x);
            if (0.0f <= value && value <= 1.0f) {
                const double bin = std::floor(static_cast<double>(value) * 65536.0);
                ++bins[static_cast<std::size_t>(std::min(std::max(bin, 0.0), 65535.0))];
            } else if (value < 0.0f) {
                ++bins[0];
            }  // values above 1.0 never enter a bin
        }
    }
    const double pixels = static_cast<double>(map.rows) * static_cast<double>(map.cols);
    const std::int64_t target = static_cast<std::int64_t>(pixels * (percentage / 100.0));
    std::int64_t sum = 0;
    for (std::size_t k = 0; k <= bins.size(); ++k) {
        if (sum >= target) return static_cast<float>(static_cast<double>(k) / 65536.0);
        if (k < bins.size()) sum += bins[k];
    }
    return 0.3f;
}

void PlainDetectCandidates(const cv::Mat& edges, cv::Mat& candidates, float scale, float maxRelativeClusterSize,
                           Korvane::DetectionObserver& observer) {
    const float p = PlainPercentile(edges, 97.5);
    cv::Mat open;
    cv::threshold(edges, open, 1.0, 1.0, cv::THRESH_BINARY_INV);

    for (float t = 1.0f; t > p; t = t - kStep) {
        observer.Trace(Text("", t));
        RemoveAbove(edges, open, t);
        PlainComponentSweep(open, candidates, scale, maxRelativeClusterSize);
    }

    const cv::Mat strongCandidates = MaskOf(candidates, 2.0);
    candidates = cv::Scalar(0.0);
    observer.Trace(Text("thresh", p));
    cv::threshold(edges, open, static_cast<double>(p), 1.0, cv::THRESH_BINARY_INV);
    PlainMaskedAssignment(open, strongCandidates, 1.0f);
    PlainComponentSweep(open, candidates, scale, maxRelativeClusterSize);

    for (float t = p; t > kLowerBound; t = t - kStep) {
        observer.Trace(Text("", t));
        RemoveTouchingAbove(edges, open, t);
        PlainComponentSweep(open, candidates, scale, maxRelativeClusterSize);
    }
    PlainMaskedAssignment(candidates, strongCandidates, 2.0f);
}

}  // namespace korvane_reference

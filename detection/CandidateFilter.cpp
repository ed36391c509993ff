#include "CandidateFilter.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include <opencv2/imgproc.hpp>

#include "NominalSizes.h"
#include "regions/RegionRuns.h"
#include "support/ValueRange.h"

namespace Korvane {
namespace {

RegionRuns CandidateRegions(const cv::Mat& mask, const qvox::PartRunner& run) {
    const ValueRange range = FindValueRange(mask, run);
    if (range.minimum == 0.0 && range.maximum == 1.0) {
        return FindRegions<float>(mask, [](float v) { return v == 1.0f; }, run);
    }
    return FindRegions<float>(mask, [](float v) { return v > kMaskThreshold; }, run);
}

// Separate loops over plain pointers, which the compiler vectorises.
void KeepAtLeast(const int* values, int least, int* keeps, int count) {
    for (int i = 0; i < count; ++i) keeps[i] &= values[i] >= least ? 1 : 0;
}

void TakeAtMost(const int* values, int most, int* takes, int count) {
    for (int i = 0; i < count; ++i) takes[i] |= values[i] <= most ? 1 : 0;
}

/// Opens single regions by an ellipse, each within its bounding box. An ellipse centred on (x, y) lies in the region
/// when, in each of its rows, the ellipse's half width is at most the reach of the region there: the distance
/// from (x, row) to the nearer end of the run around it. So the erosion compares a row of reaches with one number per
/// row of the ellipse, and the dilation does the same with distances to the nearest kept centre.
class RegionOpening {
public:
    RegionOpening(cv::Size image, const RegionRuns& regions) : image_(image), regions_(regions) {}

    /// Number of the region's pixels that an opening by the k x k ellipse leaves; k odd.
    std::int64_t PixelsLeft(const Region& region, int k) {
        if (k == 1) return region.area;
        SetEllipse(k);
        width_ = region.Width();
        height_ = region.Height();
        FillReaches(region);
        if (!Erode(region)) return 0;
        return CountDilated();
    }

private:
    static constexpr int kUnbounded = std::numeric_limits<int>::max() / 2;

    void SetEllipse(int k) {
        if (static_cast<int>(halfWidths_.size()) == k) return;
        const cv::Mat element = cv::getStructuringElement(cv::MORPH_ELLIPSE, cv::Size(k, k));
        halfWidths_.resize(static_cast<std::size_t>(k));
        for (int row = 0; row < k; ++row) {
            halfWidths_[static_cast<std::size_t>(row)] = (cv::countNonZero(element.row(row)) - 1) / 2;
        }
    }

    int HalfWidth(int dy) const { return halfWidths_[static_cast<std::size_t>(dy + Radius())]; }
    int Radius() const { return static_cast<int>(halfWidths_.size()) / 2; }
    int* Row(std::vector<int>& box, int y) const { return box.data() + static_cast<std::ptrdiff_t>(y) * width_; }

    void FillReaches(const Region& region) {
        reaches_.assign(static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_), -1);
        for (const Run* run = regions_.begin(region); run != regions_.end(region); ++run) {
            // The image's border does not bound a region: outside counts as set.
            const int left = run->begin == 0 ? -kUnbounded : run->begin;
            const int right = run->end == image_.width ? kUnbounded : run->end - 1;
            int* row = Row(reaches_, run->y - region.minY);
            for (int x = run->begin; x < run->end; ++x) row[x - region.minX] = std::min(x - left, right - x);
        }
    }

    /// Turns `nearest_` into the horizontal distance of every box pixel to the nearest centre that the erosion keeps.
    bool Erode(const Region& region) {
        nearest_.resize(reaches_.size());
        keeps_.resize(static_cast<std::size_t>(width_));
        bool any = false;
        for (int y = 0; y < height_; ++y) {
            // Rows of the ellipse beyond the image always fit, rows beyond the region never do.
            const int first = std::max(y - Radius(), -region.minY);
            const int last = std::min(y + Radius(), image_.height - 1 - region.minY);
            if (first < 0 || last >= height_) {
                std::fill_n(Row(nearest_, y), width_, kUnbounded);
                continue;
            }
            std::fill(keeps_.begin(), keeps_.end(), 1);
            for (int row = first; row <= last; ++row) {
                KeepAtLeast(Row(reaches_, row), HalfWidth(row - y), keeps_.data(), width_);
            }
            any |= DistancesToCentres(Row(nearest_, y));
        }
        return any;
    }

    bool DistancesToCentres(int* distances) const {
        int distance = kUnbounded;
        for (int x = 0; x < width_; ++x) {
            distance = keeps_[static_cast<std::size_t>(x)] != 0 ? 0 : std::min(distance + 1, kUnbounded);
            distances[x] = distance;
        }
        const bool any = distance < kUnbounded;
        distance = kUnbounded;
        for (int x = width_ - 1; x >= 0; --x) {
            distance = std::min(distance + 1, distances[x]);
            distances[x] = distance;
        }
        return any;
    }

    std::int64_t CountDilated() {
        std::int64_t count = 0;
        for (int y = 0; y < height_; ++y) {
            std::fill(keeps_.begin(), keeps_.end(), 0);
            const int first = std::max(-Radius(), -y);
            const int last = std::min(Radius(), height_ - 1 - y);
            for (int dy = first; dy <= last; ++dy) {
                TakeAtMost(Row(nearest_, y + dy), HalfWidth(dy), keeps_.data(), width_);
            }
            count += std::count(keeps_.begin(), keeps_.end(), 1);
        }
        return count;
    }

    cv::Size image_;
    const RegionRuns& regions_;
    int width_ = 0;
    int height_ = 0;
    std::vector<int> halfWidths_;
    std::vector<int> reaches_;
    std::vector<int> nearest_;
    std::vector<int> keeps_;  // 0 or 1; as wide as what they are compared with, for vector arithmetic
};

void Keep(const RegionRuns& regions, const Region& region, cv::Mat& filtered) {
    for (const Run* run = regions.begin(region); run != regions.end(region); ++run) {
        std::uint8_t* row = filtered.ptr<std::uint8_t>(run->y);
        std::fill(row + run->begin, row + run->end, kKeptCode);
    }
}

}  // namespace

int OpeningSize(std::int64_t areaPx, float scale, float areaFraction) {
    const double radius = std::sqrt(static_cast<double>(areaPx)) / static_cast<double>(kRootOfPi);
    const int bySize = 2 * static_cast<int>(std::floor(radius * static_cast<double>(areaFraction)));
    const int byScale = static_cast<int>(std::floor(kMinimumOpeningPx * scale));
    const int size = std::max(bySize, byScale);
    return size % 2 == 0 ? size + 1 : size;
}

void FilterCandidates(const cv::Mat& candidateMask, cv::Mat& filtered, float scale, float areaFraction,
                      const qvox::PartRunner& run) {
    CV_Assert(candidateMask.type() == CV_32FC1 && filtered.type() == CV_8UC1 &&
              filtered.size() == candidateMask.size());
    if (candidateMask.empty()) return;
    const RegionRuns regions = CandidateRegions(candidateMask, run);
    qvox::RunRanges(regions.regions.size(), kFewestRegionsOfPart, run, [&](const qvox::PartRange& part) {
        RegionOpening opening(candidateMask.size(), regions);
        for (std::uint64_t i = part.first; i < part.end; ++i) {
            const Region& region = regions.regions[i];
            const float area = static_cast<float>(region.area);
            if (area > kMaximumCandidateAreaPx * scale) continue;
            const std::int64_t left = opening.PixelsLeft(region, OpeningSize(region.area, scale, areaFraction));
            if (left >= 1 && static_cast<float>(left) >= kKeptShare * area) Keep(regions, region, filtered);
        }
    });
}

}  // namespace Korvane

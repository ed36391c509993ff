#include "ClusterSeparation.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <opencv2/imgproc.hpp>

#include "NominalSizes.h"
#include "regions/EuclideanDistance.h"
#include "regions/RegionRuns.h"

namespace Korvane {
namespace {

/// Marks the cores of regions. Regions do not touch, and between them the distance is 0, so each is reconstructed
/// within its own box, which is framed by one pixel of zeros so that no neighbour needs a border test.
class CoreFinder {
public:
    CoreFinder(const RegionRuns& regions, cv::Mat& cores) : regions_(regions), cores_(cores), distance_(cores.size()) {}

    void MarkCores(const Region& region) {
        stride_ = region.Width() + 2;
        const auto count = static_cast<std::size_t>(stride_) * static_cast<std::size_t>(region.Height() + 2);
        mask_.assign(count, 0.0f);
        distance_.Measure(regions_, region, mask_.data() + stride_ + 1, stride_);
        if (*std::max_element(mask_.begin(), mask_.end()) <= kDomeHeightPixels) {
            // Nothing is left of the marker, and every distance is at least 1.
            MarkAll(region);
            return;
        }
        marker_.resize(count);
        std::transform(mask_.begin(), mask_.end(), marker_.begin(),
                       [](float distance) { return std::max(distance - kDomeHeightPixels, 0.0f); });
        Reconstruct(region);
        MarkRisen(region);
    }

private:
    std::ptrdiff_t Start(const Region& region, const Run& run) const {
        return static_cast<std::ptrdiff_t>(run.y - region.minY + 1) * stride_ + (run.begin - region.minX + 1);
    }

    void MarkAll(const Region& region) {
        for (const Run* run = regions_.begin(region); run != regions_.end(region); ++run) {
            std::uint8_t* row = cores_.ptr<std::uint8_t>(run->y);
            std::fill(row + run->begin, row + run->end, std::uint8_t{1});
        }
    }

    void MarkRisen(const Region& region) {
        for (const Run* run = regions_.begin(region); run != regions_.end(region); ++run) {
            std::uint8_t* row = cores_.ptr<std::uint8_t>(run->y) + run->begin;
            const float* mask = mask_.data() + Start(region, *run);
            const float* marker = marker_.data() + Start(region, *run);
            for (int x = 0; x < run->end - run->begin; ++x) {
                row[x] = static_cast<std::uint8_t>(mask[x] - marker[x] > kCoreRisePixels);
            }
        }
    }

    /// Raises the marker to its reconstruction: one sweep each way, then the pixels that could still raise a neighbour
    /// are followed through a queue. Values are only selected, never computed, so any order ends in the same bits.
    void Reconstruct(const Region& region) {
        for (const Run* run = regions_.begin(region); run != regions_.end(region); ++run) {
            const std::ptrdiff_t start = Start(region, *run);
            for (std::ptrdiff_t p = start; p < start + (run->end - run->begin); ++p) {
                const float* m = marker_.data() + p;
                const float highest =
                    std::max(std::max(std::max(m[-stride_ - 1], m[-stride_]), std::max(m[-stride_ + 1], m[-1])), m[0]);
                marker_[static_cast<std::size_t>(p)] = std::min(highest, mask_[static_cast<std::size_t>(p)]);
            }
        }
        queue_.clear();
        for (const Run* run = regions_.end(region); run-- != regions_.begin(region);) {
            const std::ptrdiff_t start = Start(region, *run);
            for (std::ptrdiff_t p = start + (run->end - run->begin); p-- > start;) SweepBack(p);
        }
        for (std::size_t next = 0; next < queue_.size(); ++next) RaiseNeighbours(queue_[next]);
    }

    void SweepBack(std::ptrdiff_t p) {
        const float* m = marker_.data() + p;
        const float highest =
            std::max(std::max(std::max(m[stride_ - 1], m[stride_]), std::max(m[stride_ + 1], m[1])), m[0]);
        const float value = std::min(highest, mask_[static_cast<std::size_t>(p)]);
        marker_[static_cast<std::size_t>(p)] = value;
        for (const std::ptrdiff_t q : {p + 1, p + stride_ - 1, p + stride_, p + stride_ + 1}) {
            if (CanRaise(value, q)) {
                queue_.push_back(p);
                return;
            }
        }
    }

    bool CanRaise(float value, std::ptrdiff_t q) const {
        const float marker = marker_[static_cast<std::size_t>(q)];
        return marker < value && marker < mask_[static_cast<std::size_t>(q)];
    }

    void RaiseNeighbours(std::ptrdiff_t p) {
        const float value = marker_[static_cast<std::size_t>(p)];
        for (const std::ptrdiff_t row : {p - stride_, p, p + stride_}) {
            for (std::ptrdiff_t q = row - 1; q <= row + 1; ++q) {
                if (!CanRaise(value, q)) continue;
                marker_[static_cast<std::size_t>(q)] = std::min(value, mask_[static_cast<std::size_t>(q)]);
                queue_.push_back(q);
            }
        }
    }

    const RegionRuns& regions_;
    cv::Mat& cores_;
    EuclideanDistance distance_;
    std::ptrdiff_t stride_ = 0;
    std::vector<float> mask_;
    std::vector<float> marker_;
    std::vector<std::ptrdiff_t> queue_;
};

cv::Mat Ellipse(int side) { return cv::getStructuringElement(cv::MORPH_ELLIPSE, cv::Size(side, side)); }

cv::Mat Cores(const cv::Mat& filtered, const qvox::PartRunner& run) {
    cv::Mat cores = cv::Mat::zeros(filtered.size(), CV_8UC1);
    const RegionRuns regions = FindRegions<std::uint8_t>(filtered, [](std::uint8_t v) { return v != 0; }, run);
    qvox::RunRanges(regions.regions.size(), kFewestRegionsOfPart, run, [&](const qvox::PartRange& part) {
        CoreFinder finder(regions, cores);
        for (std::uint64_t i = part.first; i < part.end; ++i) {
            const Region& region = regions.regions[i];
            if (static_cast<std::size_t>(region.area) == filtered.total()) {
                cores.setTo(1);
            } else {
                finder.MarkCores(region);
            }
        }
    });
    return cores;
}

/// Calls work(rows) for ranges of rows of an image.
template <typename Work>
void RunMatRows(const cv::Mat& image, const qvox::PartRunner& run, Work work) {
    qvox::RunRows(static_cast<std::uint64_t>(image.rows), run, [&](const qvox::PartRange& rows) {
        work(cv::Range(static_cast<int>(rows.first), static_cast<int>(rows.end)));
    });
}

}  // namespace

cv::Mat SeparateClusters(const cv::Mat& filtered, float scale, const qvox::PartRunner& run) {
    CV_Assert(filtered.type() == CV_8UC1);
    if (filtered.empty()) return cv::Mat(filtered.size(), CV_32FC1);
    cv::Mat cores = Cores(filtered, run);
    // OpenCV takes the rows around a part of a matrix from the matrix.
    cv::Mat eroded(cores.size(), CV_8UC1);
    const cv::Mat specks = Ellipse(kCoreErosionPixels);
    RunMatRows(cores, run, [&](const cv::Range& rows) {
        cv::Mat part = eroded.rowRange(rows);
        cv::erode(cores.rowRange(rows), part, specks);
    });
    cv::Mat blobs(cores.size(), CV_32FC1);
    const cv::Mat growth = Ellipse(static_cast<int>(scale + kBlobGrowthPixels));
    RunMatRows(cores, run, [&](const cv::Range& rows) {
        cv::Mat grown;
        cv::dilate(eroded.rowRange(rows), grown, growth);
        cv::Mat part = blobs.rowRange(rows);
        grown.convertTo(part, CV_32FC1);
    });
    return blobs;
}

}  // namespace Korvane

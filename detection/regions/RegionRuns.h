#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <opencv2/core.hpp>

namespace Korvane {

/// Consecutive set pixels of one row: columns begin .. end - 1.
struct Run {
    int y = 0;
    int begin = 0;
    int end = 0;
};

/// One 8-connected region: a range of RegionRuns::runs, its pixel count and its bounding box, both ends included.
struct Region {
    std::size_t firstRun = 0;
    std::size_t runCount = 0;
    std::int64_t area = 0;
    int minX = 0;
    int minY = 0;
    int maxX = 0;
    int maxY = 0;

    int Width() const { return maxX - minX + 1; }
    int Height() const { return maxY - minY + 1; }
};

/// The 8-connected regions of an image, in row-major order of their first pixels; the runs of a region stand together,
/// in row-major order.
struct RegionRuns {
    std::vector<Run> runs;
    std::vector<Region> regions;

    const Run* begin(const Region& region) const { return runs.data() + region.firstRun; }
    const Run* end(const Region& region) const { return begin(region) + region.runCount; }
};

/// Groups runs into regions. Runs come in row-major order; those of one row do not touch. Near-linear.
RegionRuns GroupRuns(std::vector<Run> runs);

/// The regions of the pixels of a matrix of T for which isSet(value) holds. One pass over the image; memory grows
/// with the number of runs only.
template <typename T, typename IsSet>
RegionRuns FindRegions(const cv::Mat& image, IsSet isSet) {
    std::vector<Run> runs;
    for (int y = 0; y < image.rows; ++y) {
        const T* row = image.ptr<T>(y);
        for (int x = 0; x < image.cols; ++x) {
            if (!isSet(row[x])) continue;
            const int begin = x;
            while (x < image.cols && isSet(row[x])) ++x;
            runs.push_back({y, begin, x});
        }
    }
    return GroupRuns(std::move(runs));
}

}  // namespace Korvane

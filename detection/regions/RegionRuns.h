#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include <opencv2/core.hpp>

#include "operations/PartRunner.h"

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

/// Appends the runs of row y.
template <typename T, typename IsSet>
void FindRuns(const cv::Mat& image, int y, IsSet isSet, std::vector<Run>& runs) {
    const T* row = image.ptr<T>(y);
    for (int x = 0; x < image.cols; ++x) {
        if (!isSet(row[x])) continue;
        const int begin = x;
        while (x < image.cols && isSet(row[x])) ++x;
        runs.push_back({y, begin, x});
    }
}

/// The regions of the pixels of a matrix of T for which isSet(value) holds. One pass over the image, whose ranges of
/// rows are the parts that `run` is given; memory grows with the number of runs only.
template <typename T, typename IsSet>
RegionRuns FindRegions(const cv::Mat& image, IsSet isSet, const qvox::PartRunner& run = qvox::RunOneByOne) {
    const auto rowCount = static_cast<std::uint64_t>(image.rows);
    std::vector<std::vector<Run>> runsOfParts(qvox::PartsOf(rowCount, qvox::kFewestRowsOfPart));
    qvox::RunRows(rowCount, run, [&](const qvox::PartRange& rows) {
        std::vector<Run> runs;
        for (std::uint64_t y = rows.first; y < rows.end; ++y) FindRuns<T>(image, static_cast<int>(y), isSet, runs);
        runsOfParts[rows.part] = std::move(runs);
    });
    std::vector<Run> all = std::move(runsOfParts.front());
    for (std::size_t i = 1; i < runsOfParts.size(); ++i) {
        all.insert(all.end(), runsOfParts[i].begin(), runsOfParts[i].end());
    }
    return GroupRuns(std::move(all));
}

/// So few regions are a part of work on all of them.
inline constexpr std::uint64_t kFewestRegionsOfPart = 8;

}  // namespace Korvane

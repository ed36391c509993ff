#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <opencv2/core.hpp>

#include "regions/RegionRuns.h"

namespace Korvane {

/// Distances of the pixels of one region to the nearest pixel that is not of the region, for region after region; the
/// buffers are kept from one to the next.
///
/// The nearest such pixel of the whole image always lies in the region's box or beside it: on the way to it, the first
/// pixel outside the region is no farther. Pixels beyond the image's border do not count. A region that covers the
/// whole image has no distances and must not be passed.
///
/// Two passes over the region's box (Meijster, Roerdink, Hesselink 2000), in whole numbers until the final root; here
/// the columns come first, and each run is solved by itself, because the pixels at its ends bound every distance.
class EuclideanDistance {
public:
    explicit EuclideanDistance(cv::Size image) : image_(image) {}

    /// Writes sqrt(dx² + dy²), rounded once to float, at out[(y - minY) * stride + (x - minX)] for every pixel of the
    /// region; other elements stay as they are.
    void Measure(const RegionRuns& regions, const Region& region, float* out, std::ptrdiff_t stride);

private:
    void FillColumnDistances(const RegionRuns& regions, const Region& region);
    void SolveRun(const Run& run, const int* columnDistances, float* out);
    void AddSite(std::int64_t column, std::int64_t columnDistance, std::int64_t lastColumn);

    /// The lower envelope: from column `from` on, site `column` with `squared` is the nearest.
    struct Site {
        std::int64_t column = 0;
        std::int64_t squared = 0;
        std::int64_t from = 0;
    };

    cv::Size image_;
    std::vector<int> columnDistances_;
    std::vector<Site> sites_;
};

}  // namespace Korvane

#pragma once

#include <cstddef>
#include <vector>

namespace Korvane {

/// How many sizes lie in [from, to).
struct SizeBin {
    double from = 0.0;
    double to = 0.0;
    std::size_t count = 0;
};

/// The bins from that of the smallest size to that of the largest, empty ones between them included. Bins begin at
/// multiples of their width, so those of several groups are the same. Sizes are positive and in ascending order.
/// Throws ToolkitError where that would be more than kMostBins.
std::vector<SizeBin> BinsOf(const std::vector<double>& sizes, double width);
inline constexpr std::size_t kMostBins = 5000;

/// Middle of the fullest bin, of several the first. There is one.
double ModeOf(const std::vector<SizeBin>& bins);

/// A width for these sizes: that of Freedman and Diaconis (1981), 2 IQR / n^(1/3), taken to the next of 1, 2 and 5
/// times a power of ten that is not smaller. 10 where the sizes have no spread.
double UsualBinWidth(const std::vector<double>& sizes);

}  // namespace Korvane

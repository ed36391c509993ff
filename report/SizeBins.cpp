#include "SizeBins.h"

#include <algorithm>
#include <cmath>

#include "SizeStatistics.h"
#include "ToolkitError.h"

namespace Korvane {

std::vector<SizeBin> BinsOf(const std::vector<double>& sizes, double width) {
    if (sizes.empty()) return {};
    const double first = std::floor(sizes.front() / width);
    const double last = std::floor(sizes.back() / width);
    if (!(last - first < static_cast<double>(kMostBins))) {
        throw qvox::ToolkitError("The sizes reach over more than " + std::to_string(kMostBins) +
                                 " bins; wider bins are needed.");
    }
    std::vector<SizeBin> bins(static_cast<std::size_t>(last - first) + 1);
    for (std::size_t i = 0; i < bins.size(); ++i) {
        const double number = first + static_cast<double>(i);
        bins[i] = {number * width, (number + 1.0) * width, 0};
    }
    for (const double size : sizes) ++bins[static_cast<std::size_t>(std::floor(size / width) - first)].count;
    return bins;
}

double ModeOf(const std::vector<SizeBin>& bins) {
    const auto fullest = std::max_element(bins.begin(), bins.end(),
                                          [](const SizeBin& a, const SizeBin& b) { return a.count < b.count; });
    return (fullest->from + fullest->to) / 2.0;
}

double UsualBinWidth(const std::vector<double>& sizes) {
    constexpr double kWithoutSpread = 10.0;
    if (sizes.size() < 2) return kWithoutSpread;
    const double spread = Quantile(sizes, 0.75) - Quantile(sizes, 0.25);
    double least = 2.0 * spread / std::cbrt(static_cast<double>(sizes.size()));
    // A few sizes far off would otherwise need thousands of bins.
    least = std::max(least, (sizes.back() - sizes.front()) / 200.0);
    if (!(least > 0.0)) return kWithoutSpread;
    for (const double unit : {1e-3, 1e-2, 1e-1, 1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8}) {
        for (const double times : {1.0, 2.0, 5.0}) {
            if (times * unit >= least) return times * unit;
        }
    }
    return least;
}

}  // namespace Korvane

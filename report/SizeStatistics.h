#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace Korvane {

struct Interval {
    double low = 0.0;
    double high = 0.0;
};

/// A normal distribution of the sizes' logarithms.
struct LogNormalFit {
    double geometricMean = 0.0;  ///< also the median of the fit
    double geometricSd = 1.0;
    Interval meanInterval;  ///< 95 %, from Student's t
    Interval sdInterval;    ///< 95 %, from chi squared
    /// Anderson and Darling's A² of the logarithms, times 1 + 0.75 / n + 2.25 / n²: mean and SD are estimated too.
    double andersonDarling = 0.0;
    std::optional<double> probability;  ///< of a larger one where the sizes are log-normal; from 8 sizes on
};

/// What is said of the sizes of objects. A value that the number of sizes does not allow is empty: spread and intervals
/// take two sizes, skewness and the log-normal fit three that are not all equal. Formulas: docs/MEASUREMENTS.md,
/// "Statistics of the report".
struct SizeStatistics {
    std::size_t n = 0;
    std::optional<double> mean;
    std::optional<double> sd;
    std::optional<double> sem;
    std::optional<Interval> meanInterval;  ///< 95 %, from Student's t
    std::optional<double> median;
    std::optional<Interval> medianInterval;  ///< 95 %, bootstrap
    std::optional<double> mode;              ///< middle of the fullest bin, of several the first
    std::optional<double> d10;
    std::optional<double> d90;
    std::optional<double> cv;
    std::optional<double> skewness;
    std::optional<LogNormalFit> logNormal;
    std::optional<std::uint64_t> neededForMean;  ///< sizes for a 95 % interval of 5 % to either side
    std::optional<std::uint64_t> neededForD90;
};

/// Half the 95 % interval, as a share of the value, that neededForMean and neededForD90 are for.
inline constexpr double kWantedPrecision = 0.05;
/// Resamples of the bootstrap and the seed of their generator, std::mt19937_64.
inline constexpr int kBootstrapResamples = 2000;
inline constexpr std::uint64_t kBootstrapSeed = 1;

/// Sizes are positive and in ascending order; `binWidth` is positive. Cost: a sum over the sizes, and
/// kBootstrapResamples times as many random numbers as there are sizes.
SizeStatistics StatisticsOf(const std::vector<double>& sizes, double binWidth);

/// The value below which a share of the sizes lies: linear between the sizes, of which the first has the share 0 and
/// the last the share 1 (type 7 of Hyndman and Fan, 1996). `sizes` as above, at least one; 0 <= share <= 1.
double Quantile(const std::vector<double>& sizes, double share);

/// The share of sizes up to `size` under a fit, and its density there.
double ShareBelow(const LogNormalFit& fit, double size);
double DensityAt(const LogNormalFit& fit, double size);

}  // namespace Korvane

#include "SizeStatistics.h"

#include <algorithm>
#include <boost/math/distributions/chi_squared.hpp>
#include <boost/math/distributions/lognormal.hpp>
#include <boost/math/distributions/normal.hpp>
#include <boost/math/distributions/students_t.hpp>
#include <cmath>
#include <random>

#include "SizeBins.h"

namespace Korvane {

namespace {

constexpr double kTail = 0.025;  // beyond each end of a 95 % interval

/// Sum over the values of their distances from the mean, to a power.
template <typename Power>
double SumOf(const std::vector<double>& values, double mean, Power power) {
    double sum = 0.0;
    for (const double value : values) sum += power(value - mean);
    return sum;
}

double MeanOf(const std::vector<double>& values) {
    double sum = 0.0;
    for (const double value : values) sum += value;
    return sum / static_cast<double>(values.size());
}

double SdOf(const std::vector<double>& values, double mean) {
    // The mean of equal numbers may be off by a rounding.
    if (std::all_of(values.begin(), values.end(), [&](double value) { return value == values.front(); })) return 0.0;
    const double squares = SumOf(values, mean, [](double d) { return d * d; });
    return std::sqrt(squares / static_cast<double>(values.size() - 1));
}

/// How far a 95 % interval of a mean reaches to either side.
double HalfWidth(double sd, std::size_t n) {
    const boost::math::students_t t(static_cast<double>(n - 1));
    return boost::math::quantile(boost::math::complement(t, kTail)) * sd / std::sqrt(static_cast<double>(n));
}

/// The medians of resamples. Random numbers become places by the high half of their product with the number of sizes,
/// so that every implementation draws the same.
Interval BootstrapMedian(const std::vector<double>& sizes) {
    std::mt19937_64 random(kBootstrapSeed);
    const std::uint64_t n = sizes.size();
    std::vector<double> medians;
    medians.reserve(kBootstrapResamples);
    std::vector<std::uint32_t> drawn(sizes.size());
    for (int i = 0; i < kBootstrapResamples; ++i) {
        std::fill(drawn.begin(), drawn.end(), 0u);
        for (std::uint64_t k = 0; k < n; ++k) ++drawn[((random() >> 32U) * n) >> 32U];
        // The middle of what was drawn: the sizes are in order.
        std::uint64_t passed = 0;
        std::size_t place = 0;
        const auto sizeOfRank = [&](std::uint64_t rank) {
            while (passed + drawn[place] <= rank) passed += drawn[place++];
            return sizes[place];
        };
        const double lower = sizeOfRank((n - 1) / 2);
        medians.push_back((lower + sizeOfRank(n / 2)) / 2.0);
    }
    std::sort(medians.begin(), medians.end());
    return {Quantile(medians, kTail), Quantile(medians, 1.0 - kTail)};
}

/// D'Agostino and Stephens, Goodness-of-fit techniques (1986), table 4.9.
double AndersonDarlingProbability(double a) {
    double p = 0.0;
    if (a < 0.2) {
        p = 1.0 - std::exp(-13.436 + 101.14 * a - 223.73 * a * a);
    } else if (a < 0.34) {
        p = 1.0 - std::exp(-8.318 + 42.796 * a - 59.938 * a * a);
    } else if (a < 0.6) {
        p = std::exp(0.9177 - 4.279 * a - 1.38 * a * a);
    } else if (a < 10.0) {
        p = std::exp(1.2937 - 5.709 * a + 0.0186 * a * a);
    }
    return std::clamp(p, 0.0, 1.0);
}

double AndersonDarling(const std::vector<double>& values, double mean, double sd) {
    const boost::math::normal normal;
    const std::size_t n = values.size();
    double sum = 0.0;
    for (std::size_t i = 0; i < n; ++i) {
        const double below = boost::math::cdf(normal, (values[i] - mean) / sd);
        const double above = boost::math::cdf(boost::math::complement(normal, (values[n - 1 - i] - mean) / sd));
        sum += static_cast<double>(2 * i + 1) * (std::log(below) + std::log(above));
    }
    const auto count = static_cast<double>(n);
    return (-count - sum / count) * (1.0 + 0.75 / count + 2.25 / (count * count));
}

LogNormalFit FitTo(const std::vector<double>& logarithms, double mean, double sd) {
    constexpr std::size_t kFewestForProbability = 8;
    const std::size_t n = logarithms.size();
    const auto freedom = static_cast<double>(n - 1);
    const boost::math::chi_squared spread(freedom);
    const double half = HalfWidth(sd, n);
    LogNormalFit fit;
    fit.geometricMean = std::exp(mean);
    fit.geometricSd = std::exp(sd);
    fit.meanInterval = {std::exp(mean - half), std::exp(mean + half)};
    fit.sdInterval = {std::exp(sd * std::sqrt(freedom / boost::math::quantile(boost::math::complement(spread, kTail)))),
                      std::exp(sd * std::sqrt(freedom / boost::math::quantile(spread, kTail)))};
    fit.andersonDarling = AndersonDarling(logarithms, mean, sd);
    if (n >= kFewestForProbability) fit.probability = AndersonDarlingProbability(fit.andersonDarling);
    return fit;
}

/// ISO 13322-1: the logarithm of a mean diameter of log-normal sizes has the variance s² (1 + s² / 2) / n, that of a
/// quantile s² (1 + z² / 2) / n.
void CountNeeded(double logarithmicSd, SizeStatistics& result) {
    const boost::math::normal normal;
    const double u = boost::math::quantile(boost::math::complement(normal, kTail));
    const double z = boost::math::quantile(normal, 0.9);
    const double variance = logarithmicSd * logarithmicSd;
    const double unit = u * u * variance / (kWantedPrecision * kWantedPrecision);
    result.neededForMean = static_cast<std::uint64_t>(std::ceil(unit * (1.0 + variance / 2.0)));
    result.neededForD90 = static_cast<std::uint64_t>(std::ceil(unit * (1.0 + z * z / 2.0)));
}

void Spread(const std::vector<double>& sizes, SizeStatistics& result) {
    const double mean = *result.mean;
    const auto n = static_cast<double>(sizes.size());
    const double sd = SdOf(sizes, mean);
    const double half = HalfWidth(sd, sizes.size());
    result.sd = sd;
    result.sem = sd / std::sqrt(n);
    result.meanInterval = {mean - half, mean + half};
    result.cv = sd / mean;
    result.medianInterval = BootstrapMedian(sizes);
    if (sizes.size() < 3 || sizes.front() == sizes.back()) return;
    const double second = SumOf(sizes, mean, [](double d) { return d * d; }) / n;
    const double third = SumOf(sizes, mean, [](double d) { return d * d * d; }) / n;
    result.skewness = third / (second * std::sqrt(second)) * std::sqrt(n * (n - 1.0)) / (n - 2.0);
    std::vector<double> logarithms;
    logarithms.reserve(sizes.size());
    for (const double size : sizes) logarithms.push_back(std::log(size));
    const double logarithmicMean = MeanOf(logarithms);
    const double logarithmicSd = SdOf(logarithms, logarithmicMean);
    if (!(logarithmicSd > 0.0)) return;
    result.logNormal = FitTo(logarithms, logarithmicMean, logarithmicSd);
    CountNeeded(logarithmicSd, result);
}

}  // namespace

double Quantile(const std::vector<double>& sizes, double share) {
    const double place = share * static_cast<double>(sizes.size() - 1);
    const auto below = static_cast<std::size_t>(place);
    if (below + 1 >= sizes.size()) return sizes.back();
    return sizes[below] + (place - static_cast<double>(below)) * (sizes[below + 1] - sizes[below]);
}

SizeStatistics StatisticsOf(const std::vector<double>& sizes, double binWidth) {
    SizeStatistics result;
    result.n = sizes.size();
    if (sizes.empty()) return result;
    result.mean = MeanOf(sizes);
    result.median = Quantile(sizes, 0.5);
    result.d10 = Quantile(sizes, 0.1);
    result.d90 = Quantile(sizes, 0.9);
    result.mode = ModeOf(BinsOf(sizes, binWidth));
    if (sizes.size() > 1) Spread(sizes, result);
    return result;
}

double ShareBelow(const LogNormalFit& fit, double size) {
    if (size <= 0.0) return 0.0;
    return boost::math::cdf(boost::math::lognormal(std::log(fit.geometricMean), std::log(fit.geometricSd)), size);
}

double DensityAt(const LogNormalFit& fit, double size) {
    if (size <= 0.0) return 0.0;
    return boost::math::pdf(boost::math::lognormal(std::log(fit.geometricMean), std::log(fit.geometricSd)), size);
}

}  // namespace Korvane

#include "operations/GaussianWeights.h"

#include <cmath>

namespace qvox {
namespace {

constexpr double kLog2E = 1.4426950408889634;
// ln 2 in two parts; the first has 21 trailing zero bits, so that its product with a power's exponent is exact.
constexpr double kLn2High = 0x1.62e42fee00000p-1;
constexpr double kLn2Low = 0x1.a39ef35793c76p-33;
// Beyond it even the smallest subnormal number is too large.
constexpr double kLargestExponent = 750.0;
// Terms of the Taylor series: with |r| <= ln 2 / 2 the next one is below 2^-62.
constexpr int kTerms = 14;
constexpr double kNearlyUncutReach = 5.3;

}  // namespace

double ExpOfMinus(double q) {
    if (!(q < kLargestExponent)) return 0.0;
    // Any whole number near by will do.
    const int halvings = static_cast<int>(q * kLog2E + 0.5);  // NOLINT(bugprone-incorrect-roundings)
    const double r = (q - halvings * kLn2High) - halvings * kLn2Low;
    double sum = 1.0;
    for (int k = kTerms; k > 0; --k) sum = 1.0 - sum * r / k;
    return std::ldexp(sum, -halvings);
}

std::vector<float> GaussianWeights(double sigmaPx, std::size_t radius) {
    std::vector<double> samples(radius + 1, 1.0);
    double sum = 1.0;
    for (std::size_t k = 1; k <= radius; ++k) {
        const double t = static_cast<double>(k) / sigmaPx;
        samples[k] = ExpOfMinus(0.5 * t * t);
        sum += 2.0 * samples[k];
    }
    std::vector<float> weights;
    weights.reserve(samples.size());
    for (const double sample : samples) weights.push_back(static_cast<float>(sample / sum));
    return weights;
}

std::vector<float> NearlyUncutGaussianWeights(double sigmaPx) {
    return GaussianWeights(sigmaPx, static_cast<std::size_t>(std::ceil(kNearlyUncutReach * sigmaPx)));
}

}  // namespace qvox

#pragma once

#include <cstddef>
#include <vector>

namespace qvox {

/// Weights of a Gaussian at the distances 0 .. radius: exp(-k^2 / (2 sigma^2)), computed in double precision, divided by
/// their sum over -radius .. radius, rounded to float. `sigmaPx` > 0 where the radius is not 0.
/// The exponential function is not the C library's, which has variants for several processors that may differ in the
/// last bit.
std::vector<float> GaussianWeights(double sigmaPx, std::size_t radius);

/// Weights of a Gaussian that counts as not cut: they end at 5.3 sigma, beyond which 1.2e-7 of it lie, so that a direct
/// sum is off by less than 5e-7 of the range of any image along both axes. `sigmaPx` 0 stands for no smoothing.
std::vector<float> NearlyUncutGaussianWeights(double sigmaPx);

/// exp(-q) for q >= 0, to within 2^-51 of the value where it is a normal number; the same bits on every processor.
double ExpOfMinus(double q);

}  // namespace qvox

#pragma once

#include <cstddef>
#include <vector>

namespace qvox {

/// Weights of a Gaussian at the distances 0 .. radius: exp(-k^2 / (2 sigma^2)), computed in double precision, divided by
/// their sum over -radius .. radius, rounded to float. `sigmaPx` > 0 where the radius is not 0.
/// The exponential function is not the C library's, which has variants for several processors that may differ in the
/// last bit.
std::vector<float> GaussianWeights(double sigmaPx, std::size_t radius);

/// exp(-q) for q >= 0, to within 2^-51 of the value where it is a normal number; the same bits on every processor.
double ExpOfMinus(double q);

}  // namespace qvox

#define KORVANE_GAUSSIAN_LANES 16
#include "operations/WideGaussianPass.inl"

namespace qvox::wide_gaussian {

Passes PassesAvx512() { return {ReduceBandPass, ExpandRowsPass}; }

}  // namespace qvox::wide_gaussian

#define KORVANE_GAUSSIAN_LANES 8
#include "operations/WideGaussianPass.inl"

namespace qvox::wide_gaussian {

Passes PassesAvx2() { return {ReduceBandPass, ExpandRowsPass}; }

}  // namespace qvox::wide_gaussian

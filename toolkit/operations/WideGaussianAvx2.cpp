#define KORVANE_GAUSSIAN_LANES 8
#include "operations/WideGaussianPass.inl"

namespace qvox::wide_gaussian {

Passes PassesAvx2() { return {ReduceDownPass, ReduceAcrossPass, ExpandAcrossPass, ExpandRowsPass}; }

}  // namespace qvox::wide_gaussian

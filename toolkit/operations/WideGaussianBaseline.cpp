#define KORVANE_GAUSSIAN_LANES 4
#include "operations/WideGaussianPass.inl"

namespace qvox::wide_gaussian {

Passes PassesBaseline() { return {ReduceBandPass, ExpandRowsPass}; }

}  // namespace qvox::wide_gaussian

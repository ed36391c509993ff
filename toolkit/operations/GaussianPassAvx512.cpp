#define KORVANE_GAUSSIAN_LANES 16
#include "operations/GaussianPass.inl"

namespace qvox::gaussian {

void SmoothStripAvx512(const StripPlan& plan, const float* input, float* output) { SmoothStrip(plan, input, output); }

}  // namespace qvox::gaussian

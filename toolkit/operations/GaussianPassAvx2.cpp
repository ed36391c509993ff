#define KORVANE_GAUSSIAN_LANES 8
#include "operations/GaussianPass.inl"

namespace qvox::gaussian {

void SmoothStripAvx2(const StripPlan& plan, const float* input, float* output) { SmoothStrip(plan, input, output); }

}  // namespace qvox::gaussian

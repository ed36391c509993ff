#define KORVANE_GAUSSIAN_LANES 4
#include "operations/GaussianPass.inl"

namespace qvox::gaussian {

void SmoothStripBaseline(const StripPlan& plan, const float* input, float* output) { SmoothStrip(plan, input, output); }

}  // namespace qvox::gaussian

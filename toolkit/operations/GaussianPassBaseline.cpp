#define KORVANE_GAUSSIAN_LANES 4
#include "operations/GaussianPass.inl"

namespace qvox::gaussian {

void SmoothTileBaseline(const TilePlan& plan, const float* input, float* output) { SmoothTile(plan, input, output); }

}  // namespace qvox::gaussian

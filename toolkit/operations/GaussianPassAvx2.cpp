#define KORVANE_GAUSSIAN_LANES 8
#include "operations/GaussianPass.inl"

namespace qvox::gaussian {

void SmoothTileAvx2(const TilePlan& plan, const float* input, float* output) { SmoothTile(plan, input, output); }

}  // namespace qvox::gaussian

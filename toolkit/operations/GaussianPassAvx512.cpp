#define KORVANE_GAUSSIAN_LANES 16
#include "operations/GaussianPass.inl"

namespace qvox::gaussian {

void SmoothTileAvx512(const TilePlan& plan, const float* input, float* output) { SmoothTile(plan, input, output); }

}  // namespace qvox::gaussian

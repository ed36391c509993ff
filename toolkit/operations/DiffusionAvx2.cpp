#define KORVANE_DIFFUSION_LANES 8
#include "operations/DiffusionStep.inl"

namespace qvox::diffusion {

void StepAvx2(const StepPlan& plan, const float* u, float* next) { Step(plan, u, next); }

}  // namespace qvox::diffusion

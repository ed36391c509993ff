#define KORVANE_DIFFUSION_LANES 4
#include "operations/DiffusionStep.inl"

namespace qvox::diffusion {

void StepBaseline(const StepPlan& plan, const float* u, float* next) { Step(plan, u, next); }

}  // namespace qvox::diffusion

#pragma once

#include "Strip.h"

namespace Korvane {

/// A subiteration of thinning (Guo and Hall, 1989), 512 pixels at a time: the first of the two in odd steps.
struct ThinningStep {
    static constexpr int kPeriod = 2;
    static void Left(const StripNeighbourhood& around, int step, Strip& left);
};

/// The instruction sets that a step is compiled for. All give the same bits.
enum class ThinningVariant { Baseline, Avx2, Avx512 };

/// Whether this processor runs the variant.
bool RunsHere(ThinningVariant variant);

/// ThinningStep::Left with a variant of the caller's choice, which must run here; for tests.
void ThinningLeftWith(ThinningVariant variant, const StripNeighbourhood& around, int step, Strip& left);

}  // namespace Korvane

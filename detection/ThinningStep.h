#pragma once

#include "Strip.h"

namespace Korvane {

/// An iteration of thinning (Guo and Hall, 1989), 512 pixels at a time: both of its subiterations, one after the other,
/// so that what is left of a pixel depends on what is up to two away.
struct ThinningStep {
    /// Uses the rows behind those of `around`. Pixels of `staying`, if there is one, are never taken.
    static void Left(StripNeighbourhood& around, const StripNeighbourhood* staying, Strip& left);
};

/// The instruction sets that a step is compiled for. All give the same bits.
enum class ThinningVariant { Baseline, Avx2, Avx512 };

/// Whether this processor runs the variant.
bool RunsHere(ThinningVariant variant);

/// ThinningStep::Left with a variant of the caller's choice, which must run here; for tests.
void ThinningLeftWith(ThinningVariant variant, StripNeighbourhood& around, const StripNeighbourhood* staying,
                      Strip& left);

}  // namespace Korvane

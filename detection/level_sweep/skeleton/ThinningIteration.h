#pragma once

#include "skeleton/PixelBlock.h"

namespace level_sweep {

/// An iteration of thinning (Guo and Hall, 1989), 512 pixels at a time: both of its subiterations, one after the other,
/// so that what is left of a pixel depends on what is up to two away.
struct ThinningIteration {
    /// Uses the rows behind those of `around`. Pixels of `staying`, if there is one, are never taken.
    static void Thin(BlockSurroundings& around, const BlockSurroundings* staying, PixelBlock& left);
};

/// The instruction sets that a step is compiled for. All give the same bits.
enum class ThinningVariant { Baseline, Avx2, Avx512 };

/// Whether this processor runs the variant.
bool RunsHere(ThinningVariant variant);

/// ThinningIteration::Thin with a variant of the caller's choice, which must run here; for tests.
void ThinWith(ThinningVariant variant, BlockSurroundings& around, const BlockSurroundings* staying,
                      PixelBlock& left);

}  // namespace level_sweep

#pragma once

#include "InstructionSet.h"
#include "skeleton/PixelBlock.h"

namespace level_sweep {

/// An iteration of thinning (Guo and Hall, 1989), 512 pixels at a time: both of its subiterations, one after the other,
/// so that what is left of a pixel depends on what is up to two away.
struct ThinningIteration {
    /// Uses the rows behind those of `around`. Pixels of `staying`, if there is one, are never taken.
    static void Thin(BlockSurroundings& around, const BlockSurroundings* staying, PixelBlock& left);
};

/// ThinningIteration::Thin with an instruction set of the caller's choice, which must run here; for tests.
void ThinWith(qvox::InstructionSet set, BlockSurroundings& around, const BlockSurroundings* staying,
                      PixelBlock& left);

}  // namespace level_sweep

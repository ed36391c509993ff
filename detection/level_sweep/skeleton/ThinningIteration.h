#pragma once

#include "InstructionSet.h"
#include "skeleton/PixelBlock.h"

namespace level_sweep {

/// An iteration of thinning (Guo and Hall, 1989), 512 pixels at a time. Both subiterations run one after the other, so
/// whether a pixel remains depends on the pixels up to two away.
struct ThinningIteration {
    /// The pixels that remain of the block in the middle of `neighbourhood`, whose spare rows are overwritten. Pixels
    /// of `fixedPixels`, which may be nullptr, are never removed.
    static void Thin(BlockSurroundings& neighbourhood, const BlockSurroundings* fixedPixels, PixelBlock& remaining);
};

/// ThinningIteration::Thin with an instruction set of the caller's choice, which must run here; for tests.
void ThinWith(qvox::InstructionSet set, BlockSurroundings& neighbourhood, const BlockSurroundings* fixedPixels,
              PixelBlock& remaining);

}  // namespace level_sweep

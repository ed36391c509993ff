#pragma once

#include "VoxelImage.h"

namespace korvane_reference {

/// Grows every label into the whole object by a marker watershed, and drops objects below the smallest diameter;
/// objects that touch are measured together.
void PlainSegmentFromSeeds(const qvox::VoxelImage<float>& raw, qvox::LabelImage& labels, float xResolution,
                           float minObjectDiameterUm);

}  // namespace korvane_reference

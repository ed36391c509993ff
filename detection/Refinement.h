#pragma once

#include "ComponentImage.h"
#include "VoxelImage.h"
#include "operations/PartRunner.h"

namespace Korvane {

/// Last stage, optional: objects grow from their blobs to their borders, and what is not round is dropped. In order:
/// RefinementRelief, RefinementMarkers, GrowMarkers (support/MarkerGrowth.h), RemoveUnroundObjects.
/// Ranges of rows, tiles and strips of columns are the parts that `run` is given.

/// The relief that is flooded: gradient magnitude of the raw image after a Gaussian of kReliefSigmaPx * scale pixels.
/// Not normalised. Border: the Gaussian mirrors the image about its border pixels, the gradient repeats them.
/// Cost: O(1 + sigma) per pixel.
qvox::VoxelImage<float> RefinementRelief(const qvox::VoxelImage<float>& raw, float scale,
                                         const qvox::PartRunner& run = qvox::RunOneByOne);

/// The labels and the background marker: kBackgroundMarker on the image's border and on every pixel farther than
/// (int)(kBackgroundDistancePx * scale) pixels, the product in double precision, from every label. A label's pixels on
/// the border are overwritten. Cost: a few passes, whatever the distance.
qvox::LabelImage RefinementMarkers(const qvox::LabelImage& labels, float scale,
                                   const qvox::PartRunner& run = qvox::RunOneByOne);

/// Removes every object that is not round enough. An object is an 8-connected set of pixels of one label; its roundness
/// is 4 * pi * area / perimeter² of the measures that the toolkit estimates, at the resolution of `labels`.
/// Objects are renumbered first, 1, 2, 3 ... in row-major order of first pixels, and keep those numbers: removals leave
/// gaps. Throws ToolkitError when there are more than 65535 objects. Cost: one pass, and each object's box.
void RemoveUnroundObjects(qvox::LabelImage& labels, float roundnessThreshold,
                          const qvox::PartRunner& run = qvox::RunOneByOne);

/// Removes every component that is not round enough; the others keep their identifiers.
void RemoveUnroundComponents(qvox::ComponentImage& components, float roundnessThreshold);

/// False only when the threshold is greater than the roundness: an object of exactly that roundness stays, and so does
/// one whose roundness is not a number.
bool IsRoundEnough(double roundness, float threshold);

}  // namespace Korvane

#pragma once

#include "ComponentImage.h"

namespace Korvane {

/// False only when the threshold is greater than the roundness: an object of just that roundness stays, and so does one
/// whose roundness is not a number.
bool IsRoundEnough(double roundness, float threshold);

/// Removes every component that is not round enough; the others keep their identifiers.
void RemoveUnroundComponents(qvox::ComponentImage& components, float roundnessThreshold);

}  // namespace Korvane

#pragma once

#include "EdgeProfiles.h"
#include "Position.h"

namespace Korvane {

/// The rim curves of the position's objects as lines one pixel wide, each with its object's label, for painting; those
/// of larger labels over those of smaller ones. Objects whose edge was not found have none. Throws as MeasureEdges.
qvox::LabelImage RimLines(const Position& position, const EdgeProfileOptions& profiles = {});

}  // namespace Korvane

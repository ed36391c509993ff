#pragma once

#include "EdgeProfiles.h"
#include "LabelPainter.h"
#include "OptionGroups.h"
#include "Position.h"

namespace Korvane {

/// The overlay of a position in this style. `profiles` is for the rims. Throws ToolkitError.
ColourPicture PaintOverlayOf(const Position& position, const OverlayStyle& style, const EdgeProfileOptions& profiles);

}  // namespace Korvane

#pragma once

#include "CommandTable.h"
#include "OptionGroups.h"
#include "Preparation.h"

namespace Korvane {

struct OverlayOptions {
    InputOptions input;
    Places places;
    OverlayStyle style;
    PreparationOptions preparation;  ///< that the labels were made with; for rims
    GivenPixelSize pixelSize;
    unsigned jobs = 0;  ///< 0: as many as the process may use processors
};

void AddOverlayOptions(CLI::App& command, OverlayOptions& options);

/// Paints the labels that each image has over it.
int RunOverlay(const OverlayOptions& options, const Streams& streams);

}  // namespace Korvane

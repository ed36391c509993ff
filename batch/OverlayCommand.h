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
    JobOptions jobs;
};

void AddOverlayOptions(CLI::App& command, OverlayOptions& options);

/// Paints the labels that each image has over it.
int RunOverlay(const OverlayOptions& options, const Streams& streams);

}  // namespace Korvane

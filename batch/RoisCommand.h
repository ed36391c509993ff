#pragma once

#include "CommandTable.h"
#include "OptionGroups.h"
#include "Preparation.h"
#include "RegionFiles.h"

namespace Korvane {

/// The line that a region follows.
enum class RegionOutline { kLabel, kEdge, kRim };

struct RoisOptions {
    InputOptions input;
    Places places;
    RegionFormat format = RegionFormat::kImageJ;
    RegionOutline outline = RegionOutline::kLabel;
    PreparationOptions preparation;  ///< that the labels were made with; for edges and rims
    GivenPixelSize pixelSize;
    JobOptions jobs;
};

void AddRoisOptions(CLI::App& command, RoisOptions& options);

/// Writes the objects of the labels that each image has as regions for other programs.
int RunRois(const RoisOptions& options, const Streams& streams);

}  // namespace Korvane

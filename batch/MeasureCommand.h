#pragma once

#include "CommandTable.h"
#include "ObjectTable.h"
#include "OptionGroups.h"
#include "Preparation.h"
#include "TableOptions.h"

namespace Korvane {

struct MeasureOptions {
    InputOptions input;
    Places places;
    TableRules tableRules;
    ObjectTable objectTable;
    PreparationOptions preparation;  ///< that the labels were made with; for the table of objects
    GivenPixelSize pixelSize;
    JobOptions jobs;
};

void AddMeasureOptions(CLI::App& command, MeasureOptions& options);

/// Measures the labels that each image has; the table goes to its file, else to the output.
int RunMeasure(const MeasureOptions& options, const Streams& streams);

}  // namespace Korvane

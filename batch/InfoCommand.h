#pragma once

#include "CommandTable.h"
#include "OptionGroups.h"

namespace Korvane {

struct InfoOptions {
    InputOptions input;
};

void AddInfoOptions(CLI::App& command, InfoOptions& options);

/// Prints a line for each image.
int RunInfo(const InfoOptions& options, const Streams& streams);

}  // namespace Korvane

#pragma once

#include "CommandTable.h"
#include "OptionGroups.h"

namespace Korvane {

enum class InfoFormat {
    kLines,
    kJson,  ///< one document
};

struct InfoOptions {
    InputOptions input;
    InfoFormat format = InfoFormat::kLines;
};

void AddInfoOptions(CLI::App& command, InfoOptions& options);

/// Prints a line, or an object of JSON, for each image.
int RunInfo(const InfoOptions& options, const Streams& streams);

}  // namespace Korvane

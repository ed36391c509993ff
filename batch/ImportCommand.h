#pragma once

#include <string>

#include "CommandTable.h"
#include "OptionGroups.h"

namespace Korvane {

struct ImportOptions {
    InputOptions input;
    Places places;        ///< labels: where the other program's files are
    std::string pattern;  ///< of their names; "{stem}" stands for the image's name without its ending
    ExistingLabels existing = ExistingLabels::kSkip;
    RecordCheck recordCheck = RecordCheck::kWarn;
    GivenPixelSize pixelSize;
    JobOptions jobs;
};

void AddImportOptions(CLI::App& command, ImportOptions& options);

/// Makes seg_NAME of each image from a label image of another program.
int RunImport(const ImportOptions& options, const Streams& streams);

}  // namespace Korvane

#pragma once

#include <string>

#include "CommandTable.h"

namespace Korvane {

struct RecordOptions {
    std::string folder;
};

void AddRecordOptions(CLI::App& command, RecordOptions& options);

/// Prints the record of a folder of labels as one JSON document.
int RunRecordCommand(const RecordOptions& options, const Streams& streams);

}  // namespace Korvane

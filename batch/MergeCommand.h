#pragma once

#include <string>
#include <vector>

#include "CommandTable.h"
#include "OptionGroups.h"

namespace Korvane {

struct MergeOptions {
    std::vector<std::string> parts;   ///< tables, folders of labels with their records, or parts of a report
    std::string output;               ///< a table, the folder of labels that gets the record, or of the report
    InputOptions input;               ///< the images that are to be there, if they are given
    std::vector<std::string> labels;  ///< folders of the labels of tables, with their records
    ExistingLabels existing = ExistingLabels::kSkip;
};

void AddMergeOptions(CLI::App& command, MergeOptions& options);

/// Makes one result of the results of shards, where they hold every image once and were made in one way. Otherwise
/// tells of what they lack and writes nothing.
int RunMerge(const MergeOptions& options, const Streams& streams);

}  // namespace Korvane

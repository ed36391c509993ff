#pragma once

#include <string>

#include "OptionGroups.h"

namespace Korvane {

/// The treatment of a table that exists already.
enum class ExistingTable { kRefuse, kReplace, kAppend };
/// The treatment of an existing table, or another result of all images, when images failed.
enum class PartialTable { kKeepOld, kWrite };

struct TableRules {
    ExistingTable existing = ExistingTable::kRefuse;
    PartialTable partial = PartialTable::kKeepOld;
};

/// --table with its rules: --overwrite-table, --append and --partial-table.
void AddTableOptions(CLI::App& command, Places& places, TableRules& rules, const std::string& help);

/// --partial-table.
void AddPartialTable(CLI::App& command, PartialTable& partial, const std::string& help);

}  // namespace Korvane

#pragma once

#include "ObjectTable.h"
#include "OptionGroups.h"

namespace Korvane {

/// --csv, --columns and --decimal-comma. The rules for a file that exists are those of --table.
void AddCsvOptions(CLI::App& command, Places& places, ObjectTable& table);

}  // namespace Korvane

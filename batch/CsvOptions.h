#pragma once

#include "ObjectTable.h"
#include "OptionGroups.h"

namespace Korvane {

/// --csv, --columns, --decimal-comma and the options that choose the objects that count: --min-diameter-nm,
/// --max-diameter-nm, --min-roundness, --exclude-edge and --by. The rules for a file that exists are those of --table.
void AddCsvOptions(CLI::App& command, Places& places, ObjectTable& table);

}  // namespace Korvane

#include "TableOptions.h"

#include <CLI/CLI.hpp>

namespace Korvane {

void AddTableOptions(CLI::App& command, Places& places, TableRules& rules, const std::string& help) {
    AddTable(command, places, help + "; - is the standard output");
    auto* replace = command.add_flag_callback(
        "--overwrite-table", [&rules] { rules.existing = ExistingTable::kReplace; },
        "Replace an existing table (default: it is refused)");
    auto* append = command.add_flag_callback(
        "--append", [&rules] { rules.existing = ExistingTable::kAppend; }, "Add the rows to an existing table");
    replace->excludes(append);
    AddSwitch(
        command, "--partial-table", [&rules] { rules.partial = PartialTable::kWrite; },
        "Replace an existing table also when images failed (default: it is kept)");
}

}  // namespace Korvane

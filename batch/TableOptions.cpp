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
    AddPartialTable(command, rules.partial,
                    "Change an existing table also when images failed or have no labels (default: it is kept)");
}

void AddPartialTable(CLI::App& command, PartialTable& partial, const std::string& help) {
    AddSwitch(
        command, "--partial-table", [&partial] { partial = PartialTable::kWrite; }, help);
}

}  // namespace Korvane

#pragma once

#include <string>
#include <vector>

#include "ObjectTable.h"
#include "OptionGroups.h"

namespace CLI {
class Option;
}

namespace Korvane {

/// --csv, --columns, --decimal-comma and the options that choose the objects that count: --min-diameter-nm,
/// --max-diameter-nm, --min-roundness, --exclude-edge and --by. The rules for a file that exists are those of --table.
void AddCsvOptions(CLI::App& command, Places& places, ObjectTable& table);

/// The option that names the diameter of a selection.
struct DiameterOption {
    std::string names = "--by";
    std::string help =
        "The diameter that the limits mean (default: diameter_nm); objects that have none are not counted";
};

/// The options that choose the objects that count.
std::vector<CLI::Option*> AddSelectionOptions(CLI::App& command, ObjectSelection& selection, const DiameterOption& by);

}  // namespace Korvane

#include "CsvOptions.h"

#include <CLI/CLI.hpp>
#include <sstream>
#include <vector>

#include "ToolkitError.h"

namespace Korvane {

namespace {

std::string NamesOfColumns() {
    std::string names;
    for (const std::string& name : ObjectTableColumns()) names += (names.empty() ? "" : ", ") + name;
    return names;
}

ObjectTable ChosenColumns(const std::string& text) {
    std::vector<std::string> names;
    std::istringstream stream(text);
    for (std::string name; std::getline(stream, name, ',');) names.push_back(name);
    try {
        return ObjectTable(names);
    } catch (const qvox::ToolkitError& error) {
        throw CLI::ValidationError("--columns", std::string(error.what()) + ". There are: " + NamesOfColumns());
    }
}

}  // namespace

void AddCsvOptions(CLI::App& command, Places& places, ObjectTable& table) {
    AddPlace(command, "--csv", places.csv, "FILE",
             "Write the table of objects there, one row per label, comma-separated; - is the standard output");
    auto* const csv = command.get_option("--csv");
    command
        .add_option_function<std::string>(
            "--columns",
            [&table](const std::string& text) {
                const DecimalMark mark = table.Mark();
                table = ChosenColumns(text);
                table.SetDecimalMark(mark);
            },
            "Columns of --csv, in their order, with commas between them (default: all)")
        ->type_name("NAME,...")
        ->needs(csv);
    command
        .add_flag_callback(
            "--decimal-comma", [&table] { table.SetDecimalMark(DecimalMark::kComma); },
            "In --csv decimal commas, and semicolons between the columns")
        ->needs(csv);
}

}  // namespace Korvane

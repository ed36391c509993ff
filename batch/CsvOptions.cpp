#include "CsvOptions.h"

#include <CLI/CLI.hpp>
#include <sstream>
#include <vector>

#include "ParseNumber.h"
#include "ToolkitError.h"

namespace Korvane {

namespace {

// Under this heading the help lists what chooses objects.
constexpr const char* kGroup = "Objects that count";

std::string NamesOfColumns() {
    std::string names;
    for (const std::string& name : ObjectTableColumns()) names += (names.empty() ? "" : ", ") + name;
    return names;
}

void ChooseColumns(ObjectTable& table, const std::string& text) {
    std::vector<std::string> names;
    std::istringstream stream(text);
    for (std::string name; std::getline(stream, name, ',');) names.push_back(name);
    try {
        table.ChooseColumns(names);
    } catch (const qvox::ToolkitError& error) {
        throw CLI::ValidationError("--columns", std::string(error.what()) + ". There are: " + NamesOfColumns());
    }
}

/// An option for a number from 0 on.
CLI::Option* AddLimit(CLI::App& command, const std::string& name, const std::string& type, std::optional<double>& limit,
                      const std::string& help) {
    const auto take = [&limit, name](const std::string& text) {
        limit = ParseNumber<double>(text);
        if (!limit || *limit < 0.0) throw CLI::ValidationError(name, "needs a number from 0 on, not '" + text + "'");
    };
    return command.add_option_function<std::string>(name, take, help)->type_name(type)->group(kGroup);
}

}  // namespace

std::vector<CLI::Option*> AddSelectionOptions(CLI::App& command, ObjectSelection& selection, const DiameterOption& by) {
    std::vector<CLI::Option*> options{
        AddLimit(command, "--min-diameter-nm", "NM", selection.minDiameterNm, "Do not count smaller objects"),
        AddLimit(command, "--max-diameter-nm", "NM", selection.maxDiameterNm, "Do not count larger objects"),
        AddLimit(command, "--min-roundness", "NUMBER", selection.minRoundness,
                 "Do not count objects that are less round")};
    options.push_back(command.add_flag_callback(
        "--exclude-edge", [&selection] { selection.atEdge = ObjectsAtEdge::kLeftOut; },
        "Do not count objects within a pixel of the image's edge"));
    options.push_back(command.add_flag_callback(
        "--count-filled", [&selection] { selection.filled = FilledObjects::kCounted; },
        "Also count objects of which more than a tenth was filled (see Preparation)"));
    options.push_back(command
                          .add_option_function<std::string>(
                              by.names, [&selection](const std::string& name) { selection.diameter = name; }, by.help)
                          ->type_name("NAME")
                          ->check(CLI::IsMember(SelectableDiameters())));
    for (CLI::Option* const option : options) option->group(kGroup);
    command.parse_complete_callback([&selection] {
        if (selection.minDiameterNm && selection.maxDiameterNm && *selection.minDiameterNm > *selection.maxDiameterNm)
            throw CLI::ValidationError("--min-diameter-nm", "is above --max-diameter-nm: no object would count");
    });
    return options;
}

void AddCsvOptions(CLI::App& command, Places& places, ObjectTable& table) {
    AddPlace(command, "--csv", places.csv, "FILE",
             "Write the table of objects there, one row per label, comma-separated; - is the standard output");
    auto* const csv = command.get_option("--csv");
    command
        .add_option_function<std::string>(
            "--columns", [&table](const std::string& text) { ChooseColumns(table, text); },
            "Columns of --csv, in their order, with commas between them (default: all)")
        ->type_name("NAME,...")
        ->needs(csv);
    command
        .add_flag_callback(
            "--decimal-comma", [&table] { table.SetDecimalMark(DecimalMark::kComma); },
            "In --csv decimal commas, and semicolons between the columns")
        ->needs(csv);
    for (CLI::Option* const option : AddSelectionOptions(command, table.Selection(), {})) option->needs(csv);
}

}  // namespace Korvane

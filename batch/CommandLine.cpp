#include "CommandLine.h"

#include <CLI/CLI.hpp>
#include <map>
#include <utility>

#include "OptionGroups.h"
#include "ProgramVersion.h"

namespace Korvane {

namespace {

/// "a, b and c".
std::string CommandNames() {
    std::string names;
    const std::vector<BatchCommand>& commands = BatchCommands();
    for (std::size_t i = 0; i < commands.size(); ++i) {
        if (i > 0) names += i + 1 < commands.size() ? ", " : " and ";
        names += commands[i].name;
    }
    return names;
}

}  // namespace

CommandLine ParseCommandLine(const std::vector<std::string>& arguments) {
    CLI::App app("Finds and measures exosomes in electron micrographs, without a window.", "korvane-batch");
    app.set_version_flag("--version", "korvane-batch " + VersionText());
    app.require_subcommand(1);
    std::map<std::string, std::unique_ptr<ParsedCommand>> tasks;
    for (const BatchCommand& command : BatchCommands()) {
        tasks[command.name] = command.prepare(*app.add_subcommand(command.name, command.help));
    }
    try {
        // The library takes its arguments last one first.
        std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());
        app.parse(std::move(reversed));
    } catch (const CLI::CallForHelp&) {
        const std::vector<CLI::App*> chosen = app.get_subcommands();
        return {{}, nullptr, chosen.empty() ? app.help() : chosen.front()->help("korvane-batch")};
    } catch (const CLI::CallForVersion& version) {
        return {{}, nullptr, std::string(version.what()) + "\n"};
    } catch (const CLI::ParseError& error) {
        const bool isWord = !arguments.empty() && arguments.front().rfind('-', 0) != 0;
        if (isWord && app.get_subcommands().empty()) {
            throw UsageError("There is no command '" + arguments.front() + "'; the commands are " + CommandNames() +
                             ".");
        }
        throw UsageError(error.what());
    }
    const std::string command = app.get_subcommands().front()->get_name();
    return {command, std::move(tasks.at(command)), {}};
}

}  // namespace Korvane

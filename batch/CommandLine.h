#pragma once

#include <memory>
#include <string>
#include <vector>

#include "CommandTable.h"

namespace Korvane {

/// A parsed command line, or a text to print in its place (help, version).
struct CommandLine {
    std::string command;                  ///< the word; empty for an answer
    std::unique_ptr<ParsedCommand> task;  ///< none for an answer
    std::string answer;
};

/// Parses the arguments after the program's name. Throws UsageError with a sentence that names the option.
CommandLine ParseCommandLine(const std::vector<std::string>& arguments);

}  // namespace Korvane

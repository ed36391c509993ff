#pragma once

#include <cstdio>
#include <memory>
#include <vector>

namespace CLI {
class App;
}

namespace Korvane {

/// How a run ended; the program's exit status.
inline constexpr int kExitDone = 0;
inline constexpr int kExitSomeFailed = 1;
inline constexpr int kExitUsage = 2;
inline constexpr int kExitInterrupted = 130;

/// Where a command writes.
struct Streams {
    std::FILE* output;    ///< results for programs
    std::FILE* messages;  ///< everything for people
};

/// A command with the options that it was given.
class ParsedCommand {
public:
    virtual ~ParsedCommand() = default;
    /// Runs the command and returns the exit status. Throws UsageError before any work when it cannot be done as asked.
    virtual int Run(const Streams& streams) const = 0;
};

template <typename Options>
class ParsedCommandOf final : public ParsedCommand {
public:
    using Function = int (*)(const Options& options, const Streams& streams);
    explicit ParsedCommandOf(Function run) : run_(run) {}
    int Run(const Streams& streams) const override { return run_(options, streams); }

    Options options;

private:
    Function run_;
};

/// One command: the word on the command line, its line in the help, and its options with its function.
struct BatchCommand {
    const char* name;
    const char* help;
    /// Adds the options to the command line's command. They are filled when it is parsed.
    std::unique_ptr<ParsedCommand> (*prepare)(CLI::App& command);
};

/// All of them, in the order of the help.
const std::vector<BatchCommand>& BatchCommands();

}  // namespace Korvane

#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace Korvane {

/// How a program ended.
struct ProgramEnd {
    int status = 0;      ///< what it returned; 128 and the signal's number where one ended it
    std::string output;  ///< of both its streams, the first 64 KiB
};

/// Runs a program and waits for its end. No shell takes part: `arguments[0]` is the program's file, the others reach it
/// as they are. It starts in `folder`, with nothing to read and in a locale of UTF-8 with decimal points. Throws
/// ToolkitError when it cannot be started, and when it has not ended in time; it is then killed.
ProgramEnd RunProgram(const std::vector<std::string>& arguments, const std::string& folder,
                      std::chrono::milliseconds limit);

/// The file of a program in one of the folders of the search path PATH; empty where there is none.
std::string FindProgram(const std::string& name);

}  // namespace Korvane

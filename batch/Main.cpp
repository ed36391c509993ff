#include <wx/init.h>
#include <wx/log.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <string>
#include <system_error>
#include <vector>

#include "CommandLine.h"
#include "ExceptionText.h"
#include "FreedMemory.h"
#include "ImageRun.h"
#include "Interrupt.h"
#include "OptionGroups.h"
#include "PathText.h"
#include "StandardStreams.h"
#include "VisibleText.h"

namespace {

void Say(std::FILE* stream, const std::string& bytes) { std::fwrite(bytes.data(), 1, bytes.size(), stream); }

int Run(const std::vector<std::string>& arguments) {
    const Korvane::CommandLine line = Korvane::ParseCommandLine(arguments);
    if (!line.task) {
        if (Korvane::WriteOut(stdout, line.answer)) return Korvane::kExitDone;
        const std::string cause = std::generic_category().message(errno);
        Say(stderr, "korvane-batch: Cannot write to the standard output! (" + cause + ")\n");
        return Korvane::kExitSomeFailed;
    }
    Korvane::CatchInterrupts();
    const qvox::FreedMemoryKeeper keeper;
    return line.task->Run({stdout, stderr});
}

}  // namespace

int main(int argc, char** argv) {
    qvox::OpenStandardStreams();
    try {
        const wxInitializer toolkit;
        // Failures are told by the messages of this program.
        wxLog::EnableLogging(false);
        Korvane::AdoptPathConversion();
        return Run(std::vector<std::string>(argv + 1, argv + argc));
    } catch (const Korvane::UsageError& error) {
        const std::string cause = Korvane::VisibleText(Korvane::PathText(error.what()));
        Say(stderr, "korvane-batch: " + cause + "\nRun korvane-batch --help for the options.\n");
        return Korvane::kExitUsage;
    } catch (...) {
        const wxString cause = Korvane::ExceptionText(std::current_exception());
        Say(stderr, "korvane-batch: " + Korvane::VisibleText(cause) + "\n");
        return Korvane::kExitSomeFailed;
    }
}

#include "RecordCommand.h"

#include <CLI/CLI.hpp>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include "ImageList.h"
#include "ImageRun.h"
#include "OptionGroups.h"
#include "PathText.h"
#include "RecordDocument.h"
#include "VisibleText.h"

namespace Korvane {

void AddRecordOptions(CLI::App& command, RecordOptions& options) {
    command.add_option("DIR", options.folder, "Folder of seg_NAME files")->required()->type_name("");
}

int RunRecordCommand(const RecordOptions& options, const Streams& streams) {
    std::error_code unreachable;
    if (!std::filesystem::is_directory(options.folder, unreachable)) {
        throw UsageError("'" + options.folder + "' is not a folder.");
    }
    const std::string folder = FullPath(options.folder);
    const RecordIndex index(folder);
    const std::string damage = index.DamageText();
    if (index.Empty()) {
        throw UsageError(damage.empty() ? "There is no record in the folder '" + options.folder + "'." : damage);
    }
    if (!damage.empty()) WriteOut(streams.messages, "warning: " + VisibleText(PathText(damage)) + "\n");
    if (PutDocument(index, folder, [&](const std::string& bytes) { return WriteJson(streams.output, bytes); })) {
        return kExitDone;
    }
    WriteOut(streams.messages,
             "error: Cannot write to the standard output! (" + std::generic_category().message(errno) + ")\n");
    return kExitSomeFailed;
}

}  // namespace Korvane

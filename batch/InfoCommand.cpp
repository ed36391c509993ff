#include "InfoCommand.h"

#include <cerrno>
#include <exception>
#include <string>
#include <system_error>

#include "Calibration.h"
#include "FailureText.h"
#include "ImageLoading.h"
#include "ImageRun.h"
#include "InputList.h"
#include "Interrupt.h"
#include "PathText.h"
#include "VisibleText.h"
#include "files/ImageFile.h"

namespace Korvane {

namespace {

wxString NumberText(std::uint64_t number) { return wxString(std::to_string(number)); }

wxString InfoLine(const wxString& path, const qvox::ImageFileInfo& info) {
    wxString line = path + ": " + NumberText(info.sizeX) + " x " + NumberText(info.sizeY);
    if (info.sizeZ > 1) line += " x " + NumberText(info.sizeZ);
    line += ", " + PathText(info.typeText);
    if (!IsInputType(info.type)) line += " (not supported)";
    line += ", " + PixelSizeText(info.resolution);
    if (!info.resolutionNote.empty()) line += " (" + PathText(info.resolutionNote) + ")";
    return line;
}

}  // namespace

void AddInfoOptions(CLI::App& command, InfoOptions& options) { AddInput(command, options.input); }

int RunInfo(const InfoOptions& options, const Streams& streams) {
    int status = kExitDone;
    for (const std::string& input : ExpandInputs(options.input.images)) {
        if (Interrupted()) return kExitInterrupted;
        wxString error;
        try {
            const qvox::ImageFileInfo info = qvox::InspectImageFile(input);
            if (WriteOut(streams.output, VisibleText(InfoLine(PathText(input), info)) + "\n")) continue;
            error = "Cannot write to the standard output! (" + wxString(std::generic_category().message(errno)) + ")";
        } catch (...) {
            error = FailureMessage(FileTask::kLoadInput, PathText(input), std::current_exception());
        }
        status = kExitSomeFailed;
        WriteOut(streams.messages, VisibleText("error: " + error) + "\n");
    }
    return status;
}

}  // namespace Korvane

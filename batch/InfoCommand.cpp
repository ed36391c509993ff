#include "InfoCommand.h"

#include <cerrno>
#include <exception>
#include <string>
#include <system_error>

#include "FailureText.h"
#include "ImageLoading.h"
#include "ImageRun.h"
#include "ImageWarnings.h"
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
    if (info.sizeZ > 1 && info.pages > info.sizeZ) {
        line += ", " + NumberText(info.sizeZ) + " of " + NumberText(info.pages) + " pages";
    } else if (info.pages > info.sizeZ) {
        line += ", page " + NumberText(info.page) + " of " + NumberText(info.pages);
    }
    return line;
}

/// Bars and writing are looked for in images that the analyses take.
void WarnOfWriting(const std::string& input, const qvox::ImageFileInfo& info, const InfoOptions& options,
                   const Streams& streams) {
    if (!IsInputType(info.type) || info.sizeZ > 1 || options.input.verbosity == Verbosity::kQuiet) return;
    const Position position = LoadPosition(PathText(input), options.input.reading);
    for (const wxString& warning : {InformationBarWarning(FindInformationBars(position.image)),
                                    AnnotationWarning(FindAnnotations(position.image), {})}) {
        if (warning.empty()) continue;
        WriteOut(streams.messages, VisibleText("warning: '" + PathText(input) + "' " + warning) + "\n");
    }
}

}  // namespace

void AddInfoOptions(CLI::App& command, InfoOptions& options) { AddInput(command, options.input); }

int RunInfo(const InfoOptions& options, const Streams& streams) {
    int status = kExitDone;
    const ImageListing listing = ExpandInputs(options.input.images, options.input.choice);
    for (const std::string& input : listing.images) {
        if (Interrupted()) return kExitInterrupted;
        FailureText error;
        try {
            const qvox::ImageFileInfo info = qvox::InspectImageFile(input, options.input.reading);
            if (WriteOut(streams.output, VisibleText(InfoLine(PathText(input), info)) + "\n")) {
                WarnOfWriting(input, info, options, streams);
                continue;
            }
            error.message =
                "Cannot write to the standard output! (" + wxString(std::generic_category().message(errno)) + ")";
        } catch (...) {
            error = TextOfFailure(FileTask::kLoadInput, PathText(input), std::current_exception());
        }
        status = kExitSomeFailed;
        WriteOut(streams.messages, "error: " + VisibleFailure(error) + "\n");
    }
    const std::string leftOut = LeftOutText(listing);
    if (!leftOut.empty() && options.input.verbosity != Verbosity::kQuiet) WriteOut(streams.messages, leftOut + "\n");
    return status;
}

}  // namespace Korvane

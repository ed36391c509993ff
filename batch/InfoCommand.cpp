#include "InfoCommand.h"

#include <cerrno>
#include <exception>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "FailureText.h"
#include "ImageLoading.h"
#include "ImageRun.h"
#include "ImageWarnings.h"
#include "InfoJson.h"
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

/// What a person should know of the image. Bars and writing are looked for in images that the analyses take.
std::vector<wxString> WarningsOf(const std::string& input, const qvox::ImageFileInfo& info,
                                 const qvox::ReadOptions& reading) {
    std::vector<wxString> warnings;
    const auto add = [&warnings](const wxString& text) {
        if (!text.empty()) warnings.push_back(text);
    };
    add(PixelSizeWarning(info.resolution));
    if (!IsInputType(info.type) || info.sizeZ > 1) return warnings;
    const Position position = LoadPosition(PathText(input), reading);
    add(InformationBarWarning(FindInformationBars(position.image)));
    add(AnnotationWarning(FindAnnotations(position.image), {}));
    return warnings;
}

/// What is printed about images, in either form.
class InfoPrinter {
public:
    InfoPrinter(const InfoOptions& options, const Streams& streams) : options_(options), streams_(streams) {}

    bool Begin() { return IsJson() ? WriteJson(streams_.output, InfoJsonBegin()) : true; }
    bool End() { return IsJson() ? WriteJson(streams_.output, InfoJsonEnd()) : true; }

    bool Image(const std::string& input) {
        const qvox::ImageFileInfo info = qvox::InspectImageFile(input, options_.input.reading);
        if (IsJson()) {
            return Put(ImageInfoJson(PathText(input), info, WarningsOf(input, info, options_.input.reading)));
        }
        if (!WriteOut(streams_.output, VisibleText(InfoLine(PathText(input), info)) + "\n")) return false;
        if (options_.input.verbosity == Verbosity::kQuiet) return true;
        for (const wxString& warning : WarningsOf(input, info, options_.input.reading)) {
            WriteOut(streams_.messages, VisibleText("warning: '" + PathText(input) + "' " + warning) + "\n");
        }
        return true;
    }

    bool Failure(const std::string& input, const FailureText& error) {
        WriteOut(streams_.messages, "error: " + VisibleFailure(error) + "\n");
        return !IsJson() || Put(FailureInfoJson(PathText(input), error.Lines()));
    }

private:
    bool IsJson() const { return options_.format == InfoFormat::kJson; }

    bool Put(const std::string& object) {
        const std::string separator = std::exchange(isFirst_, false) ? "\n    " : ",\n    ";
        return WriteJson(streams_.output, separator + object);
    }

    const InfoOptions& options_;
    const Streams& streams_;
    bool isFirst_ = true;
};

int FailOutput(const Streams& streams) {
    WriteOut(streams.messages,
             "error: Cannot write to the standard output! (" + std::generic_category().message(errno) + ")\n");
    return kExitSomeFailed;
}

int PrintImages(const ImageListing& listing, InfoPrinter& printer, const Streams& streams) {
    int status = kExitDone;
    for (const std::string& input : listing.images) {
        if (Interrupted()) return kExitInterrupted;
        try {
            if (!printer.Image(input)) status = FailOutput(streams);
        } catch (...) {
            status = kExitSomeFailed;
            const FailureText error = TextOfFailure(FileTask::kLoadInput, PathText(input), std::current_exception());
            if (!printer.Failure(input, error)) status = FailOutput(streams);
        }
    }
    return status;
}

}  // namespace

void AddInfoOptions(CLI::App& command, InfoOptions& options) {
    AddInput(command, options.input);
    AddSwitch(
        command, "--json", [&options] { options.format = InfoFormat::kJson; },
        "Print one JSON document, with an object for each image");
}

int RunInfo(const InfoOptions& options, const Streams& streams) {
    const ImageListing all = ExpandInputs(options.input);
    const ImageListing listing = ShardOf(all, options.input.shard);
    const bool isQuiet = options.input.verbosity == Verbosity::kQuiet;
    const std::string shard = ShardText(options.input.shard, listing.images.size(), all.images.size());
    if (!shard.empty() && !isQuiet) WriteOut(streams.messages, shard + "\n");
    InfoPrinter printer(options, streams);
    if (!printer.Begin()) return FailOutput(streams);
    int status = PrintImages(listing, printer, streams);
    if (!printer.End()) status = FailOutput(streams);
    for (const std::string& link : listing.notEntered) {
        WriteOut(streams.messages, VisibleText("warning: " + PathText(link)) + "\n");
    }
    const std::string leftOut = LeftOutText(listing);
    if (!leftOut.empty() && !isQuiet) WriteOut(streams.messages, leftOut + "\n");
    return status;
}

}  // namespace Korvane

#include "ImageRun.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "ExceptionText.h"
#include "InputList.h"
#include "Interrupt.h"
#include "MeasurementTable.h"
#include "PathText.h"
#include "Progress.h"
#include "RunReport.h"
#include "WorkQueue.h"
#include "support/OpenCVThreads.h"

namespace Korvane {

namespace {

void MakeFolder(const std::optional<std::string>& folder) {
    if (!folder) return;
    std::error_code failure;
    std::filesystem::create_directories(*folder, failure);
    if (failure) throw UsageError("The folder '" + *folder + "' cannot be made: " + failure.message() + ".");
    if (!std::filesystem::is_directory(*folder, failure)) throw UsageError("'" + *folder + "' is no folder.");
    if (::access(folder->c_str(), W_OK | X_OK) != 0) {
        throw UsageError("The folder '" + *folder +
                         "' cannot be written to: " + std::generic_category().message(errno) + ".");
    }
}

/// What would spoil hours of work at their end is found out before they begin.
void RequireTablePlace(const Places& places) {
    if (!places.table) return;
    const std::filesystem::path table = FullPath(*places.table);
    std::error_code failure;
    if (std::filesystem::is_directory(table, failure)) {
        throw UsageError("The table '" + *places.table + "' is a folder.");
    }
    if (std::filesystem::exists(table, failure)) {
        if (!std::filesystem::is_regular_file(table, failure)) {
            throw UsageError("The table '" + *places.table + "' is not a regular file.");
        }
        if (::access(table.c_str(), W_OK) != 0) {
            throw UsageError("The table '" + *places.table +
                             "' cannot be replaced: " + std::generic_category().message(errno) + ".");
        }
    }
    const std::string folder = table.parent_path().string();
    if (::access(folder.c_str(), W_OK | X_OK) != 0) {
        throw UsageError("The table '" + *places.table +
                         "' cannot be written: " + std::generic_category().message(errno) + ".");
    }
}

void RequireLabelsFolder(const Places& places) {
    std::error_code failure;
    if (places.labels && !std::filesystem::is_directory(*places.labels, failure)) {
        throw UsageError("The folder '" + *places.labels + "' of the labels does not exist.");
    }
}

/// The table of all images that have a result, to its file or to the output. False when it could not be written.
bool WriteTable(const ImageRun& run, const std::vector<ImageOutcome>& outcomes, std::FILE* output, Progress& progress) {
    if (!run.MakesTable()) return true;
    const Places& places = run.places;
    std::vector<wxString> rows;
    for (const ImageOutcome& outcome : outcomes) rows.insert(rows.end(), outcome.rows.begin(), outcome.rows.end());
    if (!places.table) {
        if (WriteOut(output, MeasurementTableText(rows))) return true;
        progress.Error("Cannot write the measurement table to the standard output! (" +
                       wxString(std::generic_category().message(errno)) + ")");
        return false;
    }
    try {
        WriteMeasurementTable(PathText(FullPath(*places.table)), rows);
        return true;
    } catch (...) {
        progress.Error("The measurement table is missing! (" + ExceptionText(std::current_exception()) + ")");
        return false;
    }
}

/// What a run without a fault ends with: the bar on a terminal is gone by then.
wxString SummaryLine(const RunReport& report) {
    const auto skipped = std::count_if(report.outcomes.begin(), report.outcomes.end(), [](const ImageOutcome& outcome) {
        return outcome.state == ImageState::kSkipped;
    });
    const std::size_t images = report.outcomes.size();
    wxString line = wxString::Format("%zu %s done", images, images == 1 ? "image" : "images");
    if (skipped > 0) line += wxString::Format(", %ld of them skipped", static_cast<long>(skipped));
    return line + ".";
}

int StatusOf(const RunReport& report, Progress& progress) {
    if (report.interrupted) {
        progress.Note("Interrupted: what is not done is left as it was.");
        return kExitInterrupted;
    }
    const auto count = [&report](ImageState state) {
        return std::count_if(report.outcomes.begin(), report.outcomes.end(),
                             [state](const ImageOutcome& outcome) { return outcome.state == state; });
    };
    const auto failed = count(ImageState::kFailed);
    if (failed > 0) {
        progress.Error(wxString::Format("%ld of %ld images failed.", static_cast<long>(failed),
                                        static_cast<long>(report.outcomes.size())));
        return kExitSomeFailed;
    }
    if (static_cast<std::size_t>(count(ImageState::kNoLabels)) == report.outcomes.size()) {
        progress.Error("None of the images has labels to work on.");
        return kExitSomeFailed;
    }
    return kExitDone;
}

/// What of the folders and files that were given has not been looked at.
void TellUnread(const ImageListing& listing, const RunReport& report, Progress& progress) {
    const std::string leftOut = LeftOutText(listing);
    if (!leftOut.empty()) progress.Note(PathText(leftOut));
    const auto several = std::count_if(report.outcomes.begin(), report.outcomes.end(),
                                       [](const ImageOutcome& outcome) { return outcome.hasFurtherPages; });
    if (several == 0) return;
    progress.Warning(wxString::Format("%ld of %zu images %s pages that were not read; --page N chooses one.",
                                      static_cast<long>(several), report.outcomes.size(),
                                      several == 1 ? "has" : "have"));
}

}  // namespace

bool WriteOut(std::FILE* stream, const std::string& bytes) {
    return std::fwrite(bytes.data(), 1, bytes.size(), stream) == bytes.size() && std::fflush(stream) == 0;
}

int RunImages(const ImageRun& run, const Streams& streams) {
    const ImageListing listing = ExpandInputs(run.input.images, run.input.choice);
    const std::vector<std::string>& inputs = listing.images;
    RunReport report;
    report.started = TimeText();
    report.images = PlanFiles(run.places, run.written, inputs);
    report.outcomes.resize(inputs.size());
    RequireLabelsFolder(run.places);
    if (!run.written.empty()) MakeFolder(run.places.output);
    MakeFolder(run.places.stages);
    RequireTablePlace(run.places);

    const unsigned jobs = run.jobs > 0 ? run.jobs : UsableProcessors();
    const bool oneByOne = jobs == 1 || inputs.size() == 1;
    SetOpenCVThreads(oneByOne ? static_cast<int>(UsableProcessors()) : 1);

    Progress progress(streams.messages, run.input.verbosity, inputs.size());
    RunJobs(inputs.size(), jobs, Interrupted, [&](std::size_t index) {
        report.outcomes[index] = ProcessImage(run, report.images[index], index + 1, progress);
    });
    EndGrace();
    // An interrupt that came after the last image has nothing to cut short.
    report.interrupted = std::any_of(report.outcomes.begin(), report.outcomes.end(), [](const ImageOutcome& outcome) {
        return outcome.state == ImageState::kNotStarted || outcome.state == ImageState::kAbandoned;
    });

    bool recorded = true;
    if (run.record) {
        report.record = *run.record;
        for (const wxString& failure : WriteReports(report)) {
            progress.Error(failure);
            recorded = false;
        }
    }
    // A table of a part of the images could be taken for the whole.
    if (!report.interrupted && !WriteTable(run, report.outcomes, streams.output, progress)) recorded = false;
    TellUnread(listing, report, progress);
    const int status = StatusOf(report, progress);
    if (status == kExitDone && recorded) progress.Note(SummaryLine(report));
    return status == kExitDone && !recorded ? kExitSomeFailed : status;
}

}  // namespace Korvane

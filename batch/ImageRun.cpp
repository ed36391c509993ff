#include "ImageRun.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "CoreDivision.h"
#include "ImageWarnings.h"
#include "InputList.h"
#include "Interrupt.h"
#include "MeasurementTable.h"
#include "PathText.h"
#include "Progress.h"
#include "ResultNames.h"
#include "RowSpool.h"
#include "TablePlace.h"
#include "VisibleText.h"
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

void RequireLabelsFolder(const Places& places) {
    std::error_code failure;
    if (places.labels && !std::filesystem::is_directory(*places.labels, failure)) {
        throw UsageError("The folder '" + *places.labels + "' of the labels does not exist.");
    }
}

/// How the work on each image ended; nothing else is held per image.
using States = std::vector<ImageState>;

std::size_t Count(const States& states, ImageState state) {
    return static_cast<std::size_t>(std::count(states.begin(), states.end(), state));
}

/// The last line of a run without a fault: the bar on a terminal is gone by then.
wxString SummaryLine(const States& states) {
    const std::size_t skipped = Count(states, ImageState::kSkipped);
    const std::size_t leftOut = Count(states, ImageState::kNoLabels);
    const std::size_t images = states.size() - leftOut;
    wxString line = wxString::Format("%zu %s done", images, images == 1 ? "image" : "images");
    if (leftOut > 0) line += wxString::Format(", %zu left out for want of labels", leftOut);
    if (skipped == 0) return line + ".";
    return line + wxString::Format(", %zu of them skipped; --overwrite replaces the files that exist.", skipped);
}

bool WasInterrupted(const States& states) {
    // An interrupt that came after the last image has nothing to cut short.
    return Count(states, ImageState::kNotStarted) + Count(states, ImageState::kAbandoned) > 0;
}

int StatusOf(const States& states, Progress& progress) {
    if (WasInterrupted(states)) {
        progress.Note("Interrupted: what is not done is left as it was.");
        return kExitInterrupted;
    }
    const std::size_t failed = Count(states, ImageState::kFailed);
    if (failed > 0) {
        progress.Error({wxString::Format("%zu of %zu images failed.", failed, states.size())});
        return kExitSomeFailed;
    }
    if (Count(states, ImageState::kNoLabels) == states.size()) {
        progress.Error({"None of the images has labels to work on."});
        return kExitSomeFailed;
    }
    return kExitDone;
}

TableRun TableRunOf(const States& states) {
    TableRun run;
    run.images = states.size();
    run.failed = Count(states, ImageState::kFailed);
    run.hasFailed = run.failed > 0 || Count(states, ImageState::kNoLabels) == run.images;
    return run;
}

void WarnOfBrokenRows(const std::vector<ImageFiles>& images, Progress& progress) {
    for (const ImageFiles& files : images) {
        const wxString warning = BrokenRowsWarning(files.input);
        if (!warning.empty()) progress.Warning("'" + files.input + "' " + warning);
    }
}

/// A table of a run with its rows.
struct RunTable {
    RunTable(const TableContents& contents, const TableRules& rules, TableKind withoutPath, std::size_t images)
        : place(contents, rules, withoutPath), rows(images, place.SpoolFolder()) {}
    TablePlace place;
    RowSpool rows;
};

/// Record and tables of a run whose images are done. False when one could not be written.
bool WriteEnd(const ImageRun& run, const States& states, const std::array<RunTable*, 2>& tables, std::FILE* output,
              Progress& progress) {
    std::vector<wxString> failures;
    const bool interrupted = WasInterrupted(states);
    if (run.recorder) failures = run.recorder->Finish(interrupted);
    // A table of a part of the images could be taken for the whole.
    for (RunTable* const table : tables) {
        if (interrupted) break;
        const wxString failure = table->place.Write(table->rows, TableRunOf(states), output);
        if (!failure.empty()) failures.push_back(failure);
    }
    for (const wxString& failure : failures) progress.Error({failure});
    return failures.empty();
}

/// The given folders' files and the pages that were not analysed.
void TellUnread(const ImageListing& listing, std::size_t withFurtherPages, std::size_t images, Progress& progress) {
    const std::string leftOut = LeftOutText(listing);
    if (!leftOut.empty()) progress.Note(PathText(leftOut));
    if (withFurtherPages == 0) return;
    progress.Warning(wxString::Format("%zu of %zu images %s pages that were not read; --page N chooses one.",
                                      withFurtherPages, images, withFurtherPages == 1 ? "has" : "have"));
}

}  // namespace

bool WriteOut(std::FILE* stream, const std::string& text) {
    const std::string bytes = ::isatty(::fileno(stream)) == 1 ? VisibleLines(PathText(text)) : text;
    return std::fwrite(bytes.data(), 1, bytes.size(), stream) == bytes.size() && std::fflush(stream) == 0;
}

int RunImages(const ImageRun& run, const Streams& streams) {
    const ImageListing listing = ExpandInputs(run.input.images, run.input.choice);
    const std::vector<ImageFiles> images = PlanFiles(run.places, run.written, listing.images);
    States states(images.size(), ImageState::kNotStarted);
    RequireLabelsFolder(run.places);
    if (!run.written.empty()) MakeFolder(run.places.output);
    MakeFolder(run.places.stages);
    RequireNamesFit(run.places, run.written, images);
    const bool toOutput = run.withoutTable == WithoutTable::kStandardOutput;
    RunTable table({"measurement table", "measurement table", run.places.table, MeasurementHeader() + "\n"},
                   run.tableRules, toOutput ? TableKind::kStream : TableKind::kNone, images.size());
    RunTable objects(
        {"table of objects", "table of objects with these columns", run.places.csv, run.objectTable.Header()},
        run.tableRules, TableKind::kNone, images.size());
    if (table.place.Kind() == TableKind::kStream && objects.place.Kind() == TableKind::kStream) {
        throw UsageError("Only one table can go to the standard output.");
    }

    const unsigned jobs = run.jobs > 0 ? run.jobs : UsableProcessors();
    SetOpenCVThreads(static_cast<int>(UsableProcessors()));
    CoreDivision division(images.size(), jobs, UsableProcessors());
    const qvox::PartRunner runParts = [&division](std::size_t count, const std::function<void(std::size_t)>& part) {
        division.Run(count, part, RunOnOpenCVThreads);
    };

    Progress progress(streams.messages, run.input.verbosity, images.size());
    if (run.MakesTable()) WarnOfBrokenRows(images, progress);
    std::atomic<std::size_t> withFurtherPages{0};
    RunJobs(images.size(), jobs, Interrupted, [&](std::size_t index) {
        const ImageOutcome outcome = ProcessImage(run, images[index], {index + 1, runParts}, progress);
        division.ImageDone();
        table.rows.Add(index, outcome.rows);
        objects.rows.AddText(index, outcome.objectRows);
        states[index] = outcome.state;
        if (outcome.hasFurtherPages) ++withFurtherPages;
    });
    EndGrace();
    const bool written = WriteEnd(run, states, {&table, &objects}, streams.output, progress);
    TellUnread(listing, withFurtherPages, images.size(), progress);
    const int status = StatusOf(states, progress);
    if (status == kExitDone && written) progress.Note(SummaryLine(states));
    return status == kExitDone && !written ? kExitSomeFailed : status;
}

}  // namespace Korvane

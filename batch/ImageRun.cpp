#include "ImageRun.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <string>
#include <system_error>
#include <utility>
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
#include "RunFolders.h"
#include "TablePlace.h"
#include "VisibleText.h"
#include "WorkQueue.h"
#include "support/OpenCVThreads.h"

namespace Korvane {

namespace {

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

/// True when images were not begun or not ended.
bool IsPartial(const States& states) {
    // An interrupt that came after the last image has nothing to cut short.
    return Count(states, ImageState::kNotStarted) + Count(states, ImageState::kAbandoned) > 0;
}

/// A part of the images may well have none with labels; all of them point to a wrong folder.
bool HasNoLabels(const ImageRun& run, const States& states) {
    return !run.input.shard && Count(states, ImageState::kNoLabels) == states.size();
}

int StatusOf(const ImageRun& run, const States& states, Progress& progress) {
    if (IsPartial(states) && Interrupted()) {
        progress.Note("Interrupted: what is not done is left as it was.");
        return kExitInterrupted;
    }
    const std::size_t failed = Count(states, ImageState::kFailed);
    if (failed > 0) {
        wxString text = wxString::Format("%zu of %zu images failed", failed, states.size());
        const std::size_t notBegun = Count(states, ImageState::kNotStarted);
        if (notBegun > 0) text += wxString::Format(", %zu were not begun", notBegun);
        progress.Error({text + "."});
        return kExitSomeFailed;
    }
    if (HasNoLabels(run, states)) {
        progress.Error({"None of the images has labels to work on."});
        return kExitSomeFailed;
    }
    return kExitDone;
}

TableRun TableRunOf(const ImageRun& run, const States& states) {
    TableRun end;
    end.images = states.size();
    end.failed = Count(states, ImageState::kFailed);
    end.hasFailed = end.failed > 0 || HasNoLabels(run, states);
    return end;
}

void WarnOfBrokenRows(const FilePlan& plan, Progress& progress) {
    for (std::size_t i = 0; i < plan.Count(); ++i) {
        const ImageFiles files = plan.Files(i);
        const wxString warning = BrokenRowsWarning(files.input);
        if (!warning.empty()) progress.Warning("'" + files.input + "' " + warning);
    }
}

struct TablePlaces {
    TablePlace table;
    TablePlace objects;
};

/// Where the tables of a run go. Throws UsageError where they cannot; `foldersToBe` as for a TablePlace.
TablePlaces TablePlacesOf(const ImageRun& run, const std::vector<std::string>& foldersToBe) {
    const bool toOutput = run.withoutTable == WithoutTable::kStandardOutput;
    TablePlaces places{
        TablePlace({"measurement table", "measurement table", run.places.table, MeasurementHeader() + "\n"},
                   run.tableRules, toOutput ? TableKind::kStream : TableKind::kNone, foldersToBe),
        TablePlace(
            {"table of objects", "table of objects with these columns", run.places.csv, run.objectTable.Header()},
            run.tableRules, TableKind::kNone, foldersToBe)};
    if (places.table.Kind() == TableKind::kStream && places.objects.Kind() == TableKind::kStream) {
        throw UsageError("Only one table can go to the standard output.");
    }
    return places;
}

/// A table of a run with its rows.
struct RunTable {
    RunTable(TablePlace where, std::size_t images) : place(std::move(where)), rows(images, place.SpoolFolder()) {}
    TablePlace place;
    RowSpool rows;
};

/// Record and tables of a run whose images are done. False when one could not be written.
bool WriteEnd(const ImageRun& run, const States& states, const std::array<RunTable*, 2>& tables, std::FILE* output,
              Progress& progress) {
    std::vector<wxString> failures;
    const bool isPartial = IsPartial(states);
    // Each of many shards in one folder would look at the labels of all.
    const RunDocument document = run.input.shard ? RunDocument::kLeft : RunDocument::kWritten;
    if (run.recorder && run.input.shard && run.places.output && states.empty()) {
        run.recorder->RecordNoImages(FullPath(*run.places.output));
    }
    if (run.recorder) failures = run.recorder->Finish(isPartial, document);
    // A table of a part of the images could be taken for the whole.
    for (RunTable* const table : tables) {
        if (isPartial) break;
        const wxString failure = table->place.Write(table->rows, TableRunOf(run, states), output);
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

void TellImages(const ImageRun& run, const FilePlan& plan, Progress& progress) {
    const ImageListing& listing = plan.Listing();
    const std::string shard = ShardText(run.input.shard, plan.Count(), listing.images.size());
    if (!shard.empty()) progress.Note(PathText(shard));
    for (const std::string& link : listing.notEntered) progress.Warning(PathText(link));
    if (run.MakesTable()) WarnOfBrokenRows(plan, progress);
}

struct RunRows {
    RowSpool& table;
    RowSpool& objects;
};

/// Works on the images; returns how many of them have pages that were not read.
std::size_t DoImages(const ImageRun& run, const FilePlan& plan, const CoreShares& shares, const RunRows& rows,
                     States& states, Progress& progress) {
    SetOpenCVThreads(static_cast<int>(shares.threads));
    CoreDivision division(plan.Count(), shares.images, shares.threads);
    const qvox::PartRunner runParts = [&division](std::size_t count, const std::function<void(std::size_t)>& part) {
        division.Run(count, part, RunOnOpenCVThreads);
    };
    std::atomic<std::size_t> withFurtherPages{0};
    std::atomic<bool> hasFailed{false};
    const bool endsEarly = run.jobs.afterFailure == AfterFailure::kEnd;
    const auto stop = [&] { return Interrupted() || (endsEarly && hasFailed); };
    RunJobs(plan.Count(), shares.images, stop, [&](std::size_t index) {
        const ImageTurn turn{index + 1, runParts, Deadline(run.jobs.timeLimitSeconds)};
        const ImageOutcome outcome = ProcessImage(run, plan.Files(index), turn, progress);
        division.ImageDone();
        rows.table.Add(index, outcome.rows);
        rows.objects.AddText(index, outcome.objectRows);
        states[index] = outcome.state;
        if (outcome.state == ImageState::kFailed) hasFailed = true;
        if (outcome.hasFurtherPages) ++withFurtherPages;
    });
    return withFurtherPages;
}

/// Refuses what the run would be refused for, and prints what it would do.
int TryImages(ImageRun run, const FilePlan& plan, const Streams& streams) {
    const std::vector<std::string> folders = FoldersToWrite(run, plan);
    RequireFoldersCanBe(folders);
    RequireNamesFit(plan);
    const TablePlaces tables = TablePlacesOf(run, folders);
    for (const TablePlace* const table : {&tables.table, &tables.objects}) {
        if (!table->Path().empty()) run.dryRun.writes.push_back(PathText(table->Path()));
    }
    Progress progress(streams.messages, run.input.verbosity, 0);
    TellImages(run, plan, progress);
    return PrintDryRun(run, plan, streams);
}

}  // namespace

bool WriteOut(std::FILE* stream, const std::string& text) {
    const std::string bytes = ::isatty(::fileno(stream)) == 1 ? VisibleLines(PathText(text)) : text;
    return std::fwrite(bytes.data(), 1, bytes.size(), stream) == bytes.size() && std::fflush(stream) == 0;
}

int RunImages(const ImageRun& run, const Streams& streams) {
    const FilePlan plan(run.places, run.written,
                        run.listing ? *run.listing : ExpandInputs(run.input, run.places.output), run.input.shard);
    const CoreShares shares = ShareOut(run.jobs);
    RequireLabelsFolder(run.places);
    if (run.jobs.dryRun) return TryImages(run, plan, streams);
    MakeFolders(FoldersToWrite(run, plan));
    RequireNamesFit(plan);
    TablePlaces places = TablePlacesOf(run, {});
    RunTable table(std::move(places.table), plan.Count());
    RunTable objects(std::move(places.objects), plan.Count());

    Progress progress(streams.messages, run.input.verbosity, plan.Count());
    TellImages(run, plan, progress);
    States states(plan.Count(), ImageState::kNotStarted);
    const std::size_t withFurtherPages = DoImages(run, plan, shares, {table.rows, objects.rows}, states, progress);
    EndGrace();
    const bool written = WriteEnd(run, states, {&table, &objects}, streams.output, progress);
    TellUnread(plan.Listing(), withFurtherPages, plan.Count(), progress);
    const int status = StatusOf(run, states, progress);
    if (status == kExitDone && written) progress.Note(SummaryLine(states));
    return status == kExitDone && !written ? kExitSomeFailed : status;
}

}  // namespace Korvane

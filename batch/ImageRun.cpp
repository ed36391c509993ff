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
#include "RecordPlaces.h"
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

/// A part of the images may well have none with labels; all of them point to a wrong folder.
bool HasNoLabels(const ImageRun& run, const RunEnd& end) { return !run.input.shard && end.leftOut == end.images; }

RunEnd EndOf(const States& states) {
    RunEnd end;
    end.images = states.size();
    end.failed = Count(states, ImageState::kFailed);
    end.skipped = Count(states, ImageState::kSkipped);
    end.leftOut = Count(states, ImageState::kNoLabels);
    end.notBegun = Count(states, ImageState::kNotStarted);
    end.abandoned = Count(states, ImageState::kAbandoned);
    return end;
}

/// Says how the run ended where it did not do all, and returns the status.
int StatusOf(const ImageRun& run, const RunEnd& end, Progress& progress) {
    // An interrupt that came after the last image has nothing to cut short.
    if (end.IsPartial() && Interrupted()) {
        progress.Note("Interrupted: what is not done is left as it was.");
        return kExitInterrupted;
    }
    if (end.failed > 0) {
        progress.Error({end.FailureLine()});
        return kExitSomeFailed;
    }
    if (HasNoLabels(run, end)) {
        progress.Error({"None of the images has labels to work on."});
        return kExitSomeFailed;
    }
    return kExitDone;
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
                   run.tableRules, toOutput ? OutputKind::kStream : OutputKind::kNone, foldersToBe),
        TablePlace(
            {"table of objects", "table of objects with these columns", run.places.csv, run.objectTable.Header()},
            run.tableRules, OutputKind::kNone, foldersToBe)};
    if (places.table.Kind() == OutputKind::kStream && places.objects.Kind() == OutputKind::kStream) {
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
bool WriteEnd(const ImageRun& run, const RunEnd& end, const std::array<RunTable*, 2>& tables, std::FILE* output,
              Progress& progress) {
    std::vector<wxString> failures;
    const bool isPartial = end.IsPartial();
    // Each of many shards in one folder would look at the labels of all.
    const RunDocument document = run.input.shard ? RunDocument::kLeft : RunDocument::kWritten;
    if (run.recorder && run.input.shard && run.places.output && end.images == 0) {
        run.recorder->RecordNoImages(FullPath(*run.places.output));
    }
    if (run.recorder) failures = run.recorder->Finish(isPartial, document);
    // A table of a part of the images could be taken for the whole.
    for (RunTable* const table : tables) {
        if (isPartial) break;
        const wxString failure = table->place.Write(table->rows, end, output);
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
    RequireRecordsCanBe(run, plan);
    const TablePlaces tables = TablePlacesOf(run, folders);
    for (const TablePlace* const table : {&tables.table, &tables.objects}) {
        if (!table->Path().empty()) run.dryRun.writes.push_back(PathText(table->Path()));
    }
    Progress progress(streams.messages, run.input.verbosity, 0);
    TellImages(run, plan, progress);
    const int status = PrintDryRun(run, plan, streams);
    TellUnread(plan.Listing(), 0, plan.Count(), progress);
    return status;
}

bool IsTerminal(std::FILE* stream) { return ::isatty(::fileno(stream)) == 1; }

bool WriteBytes(std::FILE* stream, const std::string& bytes) {
    return std::fwrite(bytes.data(), 1, bytes.size(), stream) == bytes.size() && std::fflush(stream) == 0;
}

}  // namespace

bool WriteOut(std::FILE* stream, const std::string& text) {
    return WriteBytes(stream, IsTerminal(stream) ? VisibleLines(PathText(text)) : text);
}

bool WriteJson(std::FILE* stream, const std::string& text) {
    return WriteBytes(stream, IsTerminal(stream) ? VisibleJson(text) : text);
}

int RunImages(const ImageRun& run, const Streams& streams) { return WorkOnImages(run, streams).status; }

RunEnd WorkOnImages(const ImageRun& run, const Streams& streams) {
    const FilePlan plan(run.places, run.written,
                        run.listing ? *run.listing : ExpandInputs(run.input, run.places.output), run.input.shard);
    const CoreShares shares = ShareOut(run.jobs);
    RequireLabelsFolder(run.places);
    RunEnd end;
    if (run.jobs.dryRun) {
        end.status = TryImages(run, plan, streams);
        return end;
    }
    MakeFolders(FoldersToWrite(run, plan));
    RequireNamesFit(plan);
    RequireRecordsCanBe(run, plan);
    TablePlaces places = TablePlacesOf(run, {});
    RunTable table(std::move(places.table), plan.Count());
    RunTable objects(std::move(places.objects), plan.Count());

    Progress progress(streams.messages, run.input.verbosity, plan.Count());
    TellImages(run, plan, progress);
    States states(plan.Count(), ImageState::kNotStarted);
    const std::size_t withFurtherPages = DoImages(run, plan, shares, {table.rows, objects.rows}, states, progress);
    EndGrace();
    end = EndOf(states);
    const bool written = WriteEnd(run, end, {&table, &objects}, streams.output, progress);
    TellUnread(plan.Listing(), withFurtherPages, plan.Count(), progress);
    end.status = StatusOf(run, end, progress);
    if (end.status != kExitDone) return end;
    if (written) progress.Note(end.SummaryLine());
    if (!written) end.status = kExitSomeFailed;
    return end;
}

}  // namespace Korvane

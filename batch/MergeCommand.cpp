#include "MergeCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>

#include "FolderLock.h"
#include "ImageRun.h"
#include "InputList.h"
#include "KnownLabels.h"
#include "MergeProblems.h"
#include "MergedRecordTree.h"
#include "MergedRecords.h"
#include "MergedReport.h"
#include "MergedTable.h"
#include "OutputPlace.h"
#include "PathText.h"
#include "Progress.h"
#include "RecordLog.h"
#include "RecordPlaces.h"
#include "ReportPart.h"
#include "RunFolders.h"
#include "SharedFiles.h"
#include "ToolkitError.h"

namespace Korvane {

namespace {

/// What parts hold. A folder of labels may also be that of a part of a report.
struct PartKinds {
    bool tables = false;
    bool records = false;
    bool reports = false;
};

bool operator!=(const PartKinds& a, const PartKinds& b) {
    return a.tables != b.tables || a.records != b.records || a.reports != b.reports;
}

bool IsThere(const std::string& path) {
    std::error_code unreachable;
    return std::filesystem::exists(path, unreachable);
}

PartKinds KindsOf(const std::string& part, Subfolders subfolders) {
    std::error_code unreachable;
    PartKinds kinds;
    kinds.tables = !std::filesystem::is_directory(part, unreachable);
    kinds.reports = !kinds.tables && IsThere(part + "/" + kReportPartName);
    kinds.records = !kinds.tables && HasRecords(part, subfolders);
    if (kinds.tables || kinds.records || kinds.reports) return kinds;
    throw UsageError("The folder '" + part + "' holds neither a record of labels nor a part of a report" +
                     (HasRecords(part, Subfolders::kEntered) ? ", but its subfolders do; --recursive takes theirs."
                                                             : "."));
}

PartKinds KindsOfAll(const std::vector<std::string>& parts, Subfolders subfolders) {
    const PartKinds kinds = KindsOf(parts.front(), subfolders);
    for (const std::string& part : parts) {
        if (KindsOf(part, subfolders) != kinds) {
            throw UsageError("'" + parts.front() + "' and '" + part + "' are of different kinds: tables, records and " +
                             "reports are merged one by one.");
        }
    }
    return kinds;
}

std::string PlaceBytes(const std::string& path) { return PathBytes(PlaceOf(PathText(FullPath(path)))); }

void RequireParts(const MergeOptions& options) {
    std::vector<std::string> places;
    for (const std::string& part : options.parts) {
        const std::string place = PlaceBytes(part);
        if (options.output != "-" && place == PlaceBytes(options.output)) {
            throw UsageError("'" + part + "' is a part and would be replaced.");
        }
        if (std::find(places.begin(), places.end(), place) != places.end()) {
            throw UsageError("'" + part + "' is given twice.");
        }
        places.push_back(place);
    }
}

void RequireNew(const MergeOptions& options, const std::string& path) {
    if (options.existing == ExistingLabels::kReplace || !IsThere(path)) return;
    throw UsageError("'" + path + "' exists already; --overwrite replaces it.");
}

std::optional<ImageListing> KnownImages(const MergeOptions& options, bool knowsSubfolders) {
    if (options.input.images.empty() && options.input.listed.empty()) return std::nullopt;
    const InputOptions& input = options.input;
    return knowsSubfolders ? ExpandKnownInputs(input.images, input.choice, input.listed) : ExpandInputs(input);
}

std::string TextOf(const std::string& image) { return PathText(image).utf8_string(); }

/// Images without rows have no object, or are missing; their records and labels tell which.
void RequireAllImages(MergedTable& table, const ImageListing& listing, const KnownLabels* known,
                      MergeProblems& problems) {
    for (const std::size_t place : table.Arrange(listing, problems)) {
        const std::string image = TextOf(listing.images[place]);
        if (known != nullptr && known->HasNoObject(image)) continue;
        const std::string hint = known == nullptr
                                     ? "'" + image +
                                           "' has no rows: it is missing, or has no object. --labels names "
                                           "the folder whose record tells."
                                     : known->MissingText(image);
        problems.Add("are missing", hint);
    }
}

/// How labels were made that somebody drew, no record can tell.
void RequireRecords(const MergedTable& table, const KnownLabels& known, MergeProblems& problems) {
    known.Records().RequireOneWay(problems);
    table.ForEachImage([&](const std::string& image) {
        if (known.Records().Of(image) != nullptr || !known.UnrecordedFile(image).empty()) return;
        problems.Add("have no record", "No record tells how the labels of '" + image + "' were made.");
    });
}

/// Prints the problems; true where there are any.
bool Tell(const MergeProblems& problems, const MergeOptions& options, const OutputPlace& place, Progress& progress) {
    for (const std::string& text : problems.Texts()) progress.Error({wxString::FromUTF8(text)});
    if (problems.Empty()) return false;
    progress.Error({place.Kind() == OutputKind::kStream ? wxString("No table is written.")
                                                        : "'" + PathText(options.output) + "' is not written."});
    return true;
}

/// The standard output gets the table piece by piece, a file as a whole or not at all.
void WriteTable(const MergedTable& table, const MergeOptions& options, const OutputPlace& place,
                const Streams& streams) {
    std::optional<FolderLock> lock;
    if (place.IsFile()) {
        lock.emplace(std::vector<std::string>{FolderOfFile(place.Path())});
        if (options.existing != ExistingLabels::kReplace) RequireStillFree(options.output);
    }
    place.Write(streams.output, [&table](const PutOutput& put) { table.Write(put); });
}

void WarnOfDamages(const std::vector<std::string>& damages, Progress& progress) {
    for (const std::string& damage : damages) progress.Warning(PathText(damage));
}

int MergeTables(const MergeOptions& options, const OutputPlace& place, const Streams& streams, Progress& progress) {
    place.RequireWritable();
    if (place.IsFile()) RequireNew(options, options.output);
    MergeProblems problems;
    MergedTable table(options.parts, problems);
    std::unique_ptr<KnownLabels> known;
    if (!options.labels.empty()) {
        known = std::make_unique<KnownLabels>(RecordFolders(options.labels, options.input.choice.subfolders),
                                              options.labels);
        WarnOfDamages(known->Records().Damages(), progress);
    }
    if (const std::optional<ImageListing> listing = KnownImages(options, known != nullptr)) {
        RequireAllImages(table, *listing, known.get(), problems);
    }
    if (known != nullptr) RequireRecords(table, *known, problems);
    if (Tell(problems, options, place, progress)) return kExitSomeFailed;
    WriteTable(table, options, place, streams);
    return kExitDone;
}

/// Under the lock of the folder: another merge may have written there since this one began.
void RequireFolderStillFree(const MergeOptions& options, const std::vector<std::string>& records, bool hasReport) {
    if (options.existing == ExistingLabels::kReplace) return;
    for (const std::string& record : records) RequireStillFree(record);
    const std::string report = hasReport ? ExistingReportFile(options.output) : "";
    if (!report.empty()) throw MadeMeanwhile(report);
}

/// Records, reports, or both of the same folders. Nothing is written unless all of it can be.
int MergeFolders(const MergeOptions& options, const PartKinds& kinds, Progress& progress) {
    const auto existing =
        options.existing == ExistingLabels::kReplace ? ExistingReport::kReplace : ExistingReport::kRefuse;
    const std::string thereIs = kinds.reports ? ExistingReportFile(options.output) : "";
    if (!thereIs.empty()) RequireNew(options, thereIs);
    RequireFoldersCanBe({options.output});
    MergeProblems problems;
    const std::optional<ImageListing> listing = KnownImages(options, kinds.records);
    std::unique_ptr<MergedRecordTree> records;
    if (kinds.records) {
        records = std::make_unique<MergedRecordTree>(options.parts, options.input.choice.subfolders, problems);
        WarnOfDamages(records->Damages(), progress);
        for (const std::string& target : records->Targets(options.output)) {
            RequireNew(options, target);
            RequireRecordCanBe(FolderOfFile(target), RecordFiles::kLinesAndDocument);
        }
        if (listing) records->RequireAllImages(*listing, problems);
    }
    std::optional<MergedReport> report;
    if (kinds.reports) {
        report.emplace(options.parts, problems);
        report->RequireAllImages(listing, problems);
    }
    if (Tell(problems, options, OutputPlace(), progress)) return kExitSomeFailed;
    MakeFolders({options.output});
    // Record and report are of one merge, whoever merges into the folder at the same time.
    const FolderLock lock({options.output});
    RequireFolderStillFree(options, records ? records->Targets(options.output) : std::vector<std::string>(),
                           kinds.reports);
    if (records) records->Write(options.output);
    return !report || report->Write(options.output, lock, existing, progress) ? kExitDone : kExitSomeFailed;
}

}  // namespace

void AddMergeOptions(CLI::App& command, MergeOptions& options) {
    command
        .add_option("PART", options.parts,
                    "Tables, folders of labels with their records, or reports of shards; all of one kind")
        ->required()
        ->type_name("");
    command
        .add_option("-o,--output", options.output,
                    "The table (- is the standard output), or the folder for the record and the report")
        ->required()
        ->type_name("PLACE");
    AddKnownImages(command, options.input);
    command
        .add_option("--labels", options.labels,
                    "Folders of the labels of tables, whose records tell how they were made")
        ->type_name("DIR")
        ->expected(1)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    AddOverwrite(command, options.existing, "Replace the table, the record or the report that is there");
    AddVerbosity(command, options.input.verbosity);
}

int RunMerge(const MergeOptions& options, const Streams& streams) {
    RequireParts(options);
    const PartKinds kinds = KindsOfAll(options.parts, options.input.choice.subfolders);
    if (!kinds.tables && !options.labels.empty()) throw UsageError("--labels is for tables.");
    if (!kinds.tables && options.output == "-") {
        throw UsageError("Only tables can go to the standard output; -o names the folder for records and reports.");
    }
    const OutputPlace place = kinds.tables ? OutputPlace("table", options.output) : OutputPlace();
    Progress progress(streams.messages, options.input.verbosity, 0);
    try {
        const int status =
            kinds.tables ? MergeTables(options, place, streams, progress) : MergeFolders(options, kinds, progress);
        if (status == kExitDone && place.Kind() != OutputKind::kStream) {
            progress.Note(wxString::Format("%zu %s merged in '", options.parts.size(),
                                           options.parts.size() == 1 ? "part is" : "parts are") +
                          PathText(options.output) + "'.");
        }
        return status;
    } catch (const qvox::ToolkitError& error) {
        progress.Error({"Cannot merge! (" + PathText(error.what()) + ")"});
        return kExitSomeFailed;
    }
}

}  // namespace Korvane

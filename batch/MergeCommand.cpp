#include "MergeCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>

#include "InputList.h"
#include "MergeProblems.h"
#include "MergedRecords.h"
#include "MergedTable.h"
#include "PathText.h"
#include "Progress.h"
#include "RecordLog.h"
#include "ReportPart.h"
#include "ReportWriting.h"
#include "SharedFiles.h"
#include "TablePart.h"
#include "ToolkitError.h"
#include "Version.h"

namespace Korvane {

namespace {

enum class PartKind { kTable, kRecord, kReport };

bool IsThere(const std::string& path) {
    std::error_code unreachable;
    return std::filesystem::exists(path, unreachable);
}

PartKind KindOf(const std::string& part) {
    std::error_code unreachable;
    if (!std::filesystem::is_directory(part, unreachable)) return PartKind::kTable;
    if (IsThere(part + "/" + kReportPartName)) return PartKind::kReport;
    if (IsThere(part + "/" + kRecordName)) return PartKind::kRecord;
    throw UsageError("The folder '" + part + "' holds neither a record of labels nor a part of a report.");
}

PartKind KindOfAll(const std::vector<std::string>& parts) {
    const PartKind kind = KindOf(parts.front());
    for (const std::string& part : parts) {
        if (KindOf(part) != kind) {
            throw UsageError("'" + parts.front() + "' and '" + part + "' are of different kinds: tables, records and " +
                             "reports are merged one by one.");
        }
    }
    return kind;
}

std::string PlaceBytes(const std::string& path) { return PathBytes(PlaceOf(PathText(FullPath(path)))); }

void RequireParts(const MergeOptions& options) {
    std::vector<std::string> places;
    for (const std::string& part : options.parts) {
        const std::string place = PlaceBytes(part);
        if (place == PlaceBytes(options.output)) throw UsageError("'" + part + "' is a part and would be replaced.");
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

std::optional<ImageListing> KnownImages(const MergeOptions& options) {
    if (options.input.images.empty() && options.input.listed.empty()) return std::nullopt;
    return ExpandInputs(options.input);
}

std::string TextOf(const std::string& image) { return PathText(image).utf8_string(); }

/// Says why an image has no labels, as far as the records tell.
std::string MissingText(const std::string& image, const MergedRecords* records) {
    const std::string missing = "'" + image + "' is missing";
    if (records == nullptr) return missing + ".";
    const MergedRecords::Fact* const fact = records->Of(image);
    if (fact == nullptr) return missing + ": no record tells of its labels.";
    const RecordEntry entry = records->Entry(*fact);
    if (!entry.error.empty()) return missing + ": it failed. " + entry.error;
    return missing + (fact->madeLabels ? ", although its labels were made." : ": its labels were not made.");
}

/// The folders of a tree that have a record, in natural order; the folder itself where none has. Links to folders are
/// not followed.
std::vector<std::string> FoldersWithRecords(const std::string& tree) {
    namespace fs = std::filesystem;
    std::vector<std::string> found;
    if (IsThere(tree + "/" + kRecordName)) found.push_back(tree);
    std::error_code failure;
    fs::recursive_directory_iterator entry(tree, failure);
    for (; !failure && entry != fs::recursive_directory_iterator(); entry.increment(failure)) {
        std::error_code unreachable;
        const std::string folder = entry->path().string();
        if (!entry->is_symlink(unreachable) && entry->is_directory(unreachable) && IsThere(folder + "/" + kRecordName)) {
            found.push_back(folder);
        }
    }
    if (failure) throw qvox::ToolkitError("The folder '" + tree + "' cannot be read: " + failure.message() + ".");
    if (found.empty()) return {tree};
    std::sort(found.begin(), found.end(), NaturalLess);
    return found;
}

std::optional<MergedRecords> RecordsOf(const MergeOptions& options) {
    if (options.labels.empty()) return std::nullopt;
    if (options.input.choice.subfolders == Subfolders::kPassedOver) return MergedRecords(options.labels);
    std::vector<std::string> folders;
    for (const std::string& tree : options.labels) {
        for (const std::string& folder : FoldersWithRecords(tree)) {
            if (std::find(folders.begin(), folders.end(), folder) == folders.end()) folders.push_back(folder);
        }
    }
    return MergedRecords(folders);
}

/// Images without rows have no object, or are missing; their records tell which.
void RequireAllImages(MergedTable& table, const ImageListing& listing, const MergedRecords* records,
                      MergeProblems& problems) {
    for (const std::size_t place : table.Arrange(listing, problems)) {
        const std::string image = TextOf(listing.images[place]);
        const MergedRecords::Fact* const fact = records == nullptr ? nullptr : records->Of(image);
        if (fact != nullptr && fact->madeLabels && !fact->hasObjects) continue;
        const std::string hint = records == nullptr
                                     ? "'" + image +
                                           "' has no rows: it is missing, or has no object. --labels names "
                                           "the folder whose record tells."
                                     : MissingText(image, records);
        problems.Add("are missing", hint);
    }
}

void RequireRecords(const MergedTable& table, const MergedRecords& records, MergeProblems& problems) {
    records.RequireOneWay(problems);
    table.ForEachImage([&](const std::string& image) {
        if (records.Of(image) != nullptr) return;
        problems.Add("have no record", "No record tells how the labels of '" + image + "' were made.");
    });
}

/// Prints the problems; true where there are any.
bool Tell(const MergeProblems& problems, const MergeOptions& options, Progress& progress) {
    for (const std::string& text : problems.Texts()) progress.Error({wxString::FromUTF8(text)});
    if (problems.Empty()) return false;
    progress.Error({"'" + PathText(options.output) + "' is not written."});
    return true;
}

int MergeTables(const MergeOptions& options, Progress& progress) {
    RequireNew(options, options.output);
    MergeProblems problems;
    MergedTable table(options.parts, problems);
    const std::optional<MergedRecords> records = RecordsOf(options);
    const MergedRecords* const known = records ? &*records : nullptr;
    if (const std::optional<ImageListing> listing = KnownImages(options)) {
        RequireAllImages(table, *listing, known, problems);
    }
    if (known != nullptr) RequireRecords(table, *known, problems);
    if (Tell(problems, options, progress)) return kExitSomeFailed;
    table.Write(options.output);
    return kExitDone;
}

int MergeRecords(const MergeOptions& options, Progress& progress) {
    RequireNew(options, options.output + "/" + kRecordName);
    const MergedRecords records(options.parts);
    MergeProblems problems;
    records.RequireDistinct(problems);
    records.RequireOneWay(problems);
    if (const std::optional<ImageListing> listing = KnownImages(options)) {
        for (const std::string& path : listing->images) {
            const std::string image = TextOf(path);
            const MergedRecords::Fact* const fact = records.Of(image);
            if (fact == nullptr || !fact->madeLabels) problems.Add("are missing", MissingText(image, &records));
        }
    }
    if (Tell(problems, options, progress)) return kExitSomeFailed;
    std::error_code failure;
    std::filesystem::create_directories(options.output, failure);
    if (failure) {
        throw UsageError("The folder '" + options.output + "' cannot be created: " + failure.message() + ".");
    }
    records.Write(options.output);
    return kExitDone;
}

/// Where the images of a report are in its parts.
struct ReportPlaces {
    std::vector<std::uint32_t> part;  // by place; the number of parts: none
    std::vector<std::uint64_t> keys;  // of the paths, by place
    ReportPartHead head;
};

ReportPlaces LookThroughParts(const std::vector<std::string>& parts, MergeProblems& problems) {
    ReportPlaces found;
    for (std::size_t part = 0; part < parts.size(); ++part) {
        ReportPartReader reader(parts[part]);
        if (part == 0) {
            found.head = reader.Head();
            found.keys.resize(found.head.images);
            found.part.resize(found.head.images, static_cast<std::uint32_t>(parts.size()));
        }
        const std::string difference = PartDifference(reader.Head(), found.head);
        if (!difference.empty()) {
            throw qvox::ToolkitError("'" + parts[part] + "' is of another report than '" + parts[0] +
                                     "': " + difference + ".");
        }
        ReportPartImage image;
        while (reader.Next(image)) {
            if (image.place >= found.part.size()) throw qvox::ToolkitError("'" + parts[part] + "' is damaged.");
            const std::uint32_t earlier = std::exchange(found.part[image.place], static_cast<std::uint32_t>(part));
            if (earlier < parts.size()) {
                problems.Add("come twice",
                             "'" + image.image.path + "' is in '" + parts[earlier] + "' and in '" + parts[part] + "'.");
            }
            found.keys[image.place] = ImageKey(image.image.path);
        }
    }
    return found;
}

void RequireAllImages(const MergeOptions& options, const ReportPlaces& found, MergeProblems& problems) {
    const std::optional<ImageListing> listing = KnownImages(options);
    const bool isListed = listing && listing->images.size() == found.part.size();
    if (listing && !isListed) {
        problems.Add("differ", "The report is of " + std::to_string(found.part.size()) + " images, not of the " +
                                   std::to_string(listing->images.size()) + " given.");
    }
    for (std::size_t place = 0; place < found.part.size(); ++place) {
        const std::string wanted = isListed ? TextOf(listing->images[place]) : std::string();
        if (found.part[place] == options.parts.size()) {
            const std::string name = isListed ? "'" + wanted + "'" : "Image " + std::to_string(place + 1);
            problems.Add("are missing", name + " is missing.");
        } else if (isListed && found.keys[place] != ImageKey(wanted)) {
            problems.Add("differ", "Another image stands in '" + options.parts[found.part[place]] + "' where '" +
                                       wanted + "' is to be.");
        }
    }
}

int MergeReports(const MergeOptions& options, Progress& progress) {
    MergeProblems problems;
    ReportPlaces found = LookThroughParts(options.parts, problems);
    if (found.head.version != kVersion) {
        throw qvox::ToolkitError("The parts are of version " + found.head.version + ", this program is version " +
                                 kVersion + ".");
    }
    RequireAllImages(options, found, problems);
    if (Tell(problems, options, progress)) return kExitSomeFailed;
    ReportOptions report;
    report.folder = FullPath(options.output);
    // All of them come from the parts, with their paths.
    report.images = {found.part.size(), [](std::size_t) { return wxString(); }};
    report.groups = found.head.groups;
    if (!report.groups.empty()) report.groupOfImage.resize(found.part.size(), 0);
    report.thumbnails = found.head.thumbnails;
    report.selection = found.head.selection;
    if (found.head.binWidth > 0.0) report.binWidthNm = found.head.binWidth;
    if (options.existing == ExistingLabels::kReplace) report.existing = ExistingReport::kReplace;
    std::unique_ptr<ReportBuilder> builder;
    try {
        builder = std::make_unique<ReportBuilder>(std::move(report));
    } catch (const qvox::ToolkitError& error) {
        throw UsageError(error.what());
    }
    for (const std::string& part : options.parts) {
        ReportPartReader reader(part);
        ReportPartImage image;
        while (reader.Next(image)) builder->AddKnown(image.place, image);
    }
    if (!builder->HasImages()) throw qvox::ToolkitError("None of the parts has an image to report on.");
    return WriteWholeReport(*builder, FullPath(options.output), progress) ? kExitDone : kExitSomeFailed;
}

int Merge(const MergeOptions& options, PartKind kind, Progress& progress) {
    switch (kind) {
        case PartKind::kTable:
            return MergeTables(options, progress);
        case PartKind::kRecord:
            return MergeRecords(options, progress);
        case PartKind::kReport:
            break;
    }
    return MergeReports(options, progress);
}

}  // namespace

void AddMergeOptions(CLI::App& command, MergeOptions& options) {
    command
        .add_option("PART", options.parts,
                    "Tables, folders of labels with their records, or reports of shards; all of one kind")
        ->required()
        ->type_name("");
    command.add_option("-o,--output", options.output, "The table, the folder for the record, or for the report")
        ->required()
        ->type_name("PLACE");
    AddKnownImages(command, options.input);
    command.add_option("--labels", options.labels, "Folders whose records tell how the labels of tables were made")
        ->type_name("DIR")
        ->expected(1)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    AddOverwrite(command, options.existing, "Replace the table, the record or the report that is there");
    AddVerbosity(command, options.input.verbosity);
}

int RunMerge(const MergeOptions& options, const Streams& streams) {
    RequireParts(options);
    const PartKind kind = KindOfAll(options.parts);
    if (kind != PartKind::kTable && !options.labels.empty()) throw UsageError("--labels is for tables.");
    Progress progress(streams.messages, options.input.verbosity, 0);
    try {
        const int status = Merge(options, kind, progress);
        if (status == kExitDone) {
            progress.Note(wxString::Format("%zu parts are merged in '", options.parts.size()) +
                          PathText(options.output) + "'.");
        }
        return status;
    } catch (const qvox::ToolkitError& error) {
        progress.Error({"Cannot merge! (" + PathText(error.what()) + ")"});
        return kExitSomeFailed;
    }
}

}  // namespace Korvane

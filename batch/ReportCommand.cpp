#include "ReportCommand.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <system_error>
#include <utility>

#include "CsvOptions.h"
#include "FolderLock.h"
#include "ImageGroups.h"
#include "ImageRun.h"
#include "InputList.h"
#include "Interrupt.h"
#include "LabelRecords.h"
#include "ParameterText.h"
#include "ParseNumber.h"
#include "Progress.h"
#include "ReportPart.h"
#include "ReportWriting.h"
#include "RunFolders.h"
#include "ToolkitError.h"

namespace Korvane {

namespace {

LabelOrigin OriginOf(const std::optional<RecordEntry>& made) {
    LabelOrigin origin;
    if (!made) return origin;
    origin.command = made->command;
    origin.program = "Korvane " + made->version;
    if (made->parameters) origin.parameters = ParametersText(*made->parameters);
    origin.prepared = made->prepared;
    return origin;
}

/// Says how labels were made otherwise than with the parameters of the file.
void CompareParameters(ImageJob& job, const std::optional<RecordEntry>& made, const ReportCommandOptions& options) {
    if (!options.parametersFile) return;
    const wxString file = "'" + PathText(options.parametersFile->path) + "'";
    if (!made || !made->parameters) {
        job.Warn("has labels of which no record tells whether they were made with " + file + ".");
        return;
    }
    RecordEntry wanted = *made;
    wanted.parameters = options.parameters;
    const std::string differences = DifferenceText(*made, wanted);
    if (!differences.empty()) job.Warn("has labels that were not made with " + file + ": " + differences + ".");
}

void ReportImage(ImageJob& job, const ReportCommandOptions& command, ReportBuilder& builder, LabelRecords& records) {
    const PreparationOptions& options = command.preparation;
    const std::size_t index = job.Number() - 1;
    Position position = job.Load();
    if (job.ReadLabels(job.Files().seeds, position.labels) == LabelsFound::kNoFile) {
        job.Outcome().state = ImageState::kNoLabels;
        builder.LeaveOut(index, "there is no '" + job.Files().seeds + "'");
        job.TellNoLabels();
        return;
    }
    const qvox::PixelResolution& resolution = position.image.Resolution();
    if (!(resolution.x > 0.0f && resolution.y > 0.0f)) {
        throw ImageFailure{
            {"Cannot report on '" + job.Name() + "'! (it has no pixel size; --pixel-size-if-missing gives one)"}};
    }
    const std::optional<RecordEntry> made = records.Making(job, job.Files().seeds);
    LabelOrigin origin = OriginOf(made);
    CompareParameters(job, made, command);
    if (made && made->preparation != options.Text() && !made->preparation.empty()) {
        job.Warn("was analysed with '" + wxString::FromUTF8(made->preparation) +
                 "'. With the same options here, objects that were filled are known and do not count.");
    }
    Preparation preparation(job, options, position);
    if (origin.prepared.empty()) origin.prepared = job.Outcome().prepared;
    const qvox::VoxelImage<std::uint8_t>& excluded = preparation.Excluded();
    job.TimeLeft().Check();
    DoFileTask(FileTask::kMeasure, job.Name(), [&] {
        builder.Add(index,
                    {position.image, position.labels, job.Outcome().resolutionSource, origin, job.Warnings(),
                     excluded.Empty() ? nullptr : &excluded, preparation.Part(), [&job] { job.TimeLeft().Check(); }});
        return 0;
    });
    job.Outcome().state = ImageState::kDone;
}

std::string ReadText(const std::string& path) {
    std::error_code unreachable;
    if (std::filesystem::is_directory(path, unreachable)) {
        throw UsageError("--group-by: '" + path + "' is a folder; the word folder groups by the images' folders.");
    }
    std::ifstream file(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file) throw UsageError("The table of groups '" + path + "' cannot be read.");
    return text;
}

/// Keeps the images of the shard. Groups are those of all images.
void TakeShard(ReportOptions& report, const ImageListing& listing, const Shard& shard) {
    ReportShare share;
    share.name = std::to_string(shard.number) + "/" + std::to_string(shard.count);
    share.imagesOfAll = listing.images.size();
    std::vector<std::size_t> groups;
    for (std::size_t i = 0; i < listing.images.size(); ++i) {
        if (!shard.Holds(listing.keys[i])) continue;
        if (!report.groupOfImage.empty()) groups.push_back(report.groupOfImage[i]);
        share.places.push_back(i);
    }
    report.images = {share.places.size(),
                     [&listing, places = share.places](std::size_t i) { return PathText(listing.images[places[i]]); }};
    report.groupOfImage = std::move(groups);
    report.share = std::move(share);
}

ImageGroups GroupsOf(const std::string& groupBy, const ImageListing& listing) {
    std::vector<std::string> texts;
    for (const std::string& image : listing.images) texts.push_back(PathText(image).utf8_string());
    return groupBy == "folder" ? GroupByFolder(texts) : GroupByTable(texts, ReadText(groupBy));
}

/// The listing stays as long as the report.
ReportOptions OptionsFor(const ReportCommandOptions& options, const ImageListing& listing) {
    ReportOptions report;
    report.folder = FullPath(options.folder);
    report.images = {listing.images.size(), [&listing](std::size_t i) { return PathText(listing.images[i]); }};
    if (options.groupBy) {
        ImageGroups groups = GroupsOf(*options.groupBy, listing);
        report.groups = std::move(groups.names);
        report.groupOfImage = std::move(groups.ofImage);
    }
    report.selection = options.selection;
    report.binWidthNm = options.binWidthNm;
    report.thumbnails = options.thumbnails;
    report.existing = options.existing;
    if (options.input.shard) TakeShard(report, listing, *options.input.shard);
    return report;
}

/// A report that cannot be begun is a matter of what was asked for.
std::unique_ptr<ReportBuilder> Begin(const ReportCommandOptions& options, const ImageListing& listing) {
    try {
        return std::make_unique<ReportBuilder>(OptionsFor(options, listing));
    } catch (const qvox::ToolkitError& error) {
        throw UsageError(error.what());
    }
}

/// Why the report that is there stays, or the part of one; empty where it does not.
wxString WhyKept(const ReportCommandOptions& options, const RunEnd& end) {
    if (end.failed == 0 || options.partial == PartialTable::kWrite) return wxString();
    // Without leave to replace one there is none, unless another run has made it meanwhile: that is told when this one
    // is to be written.
    if (options.existing == ExistingReport::kRefuse) return wxString();
    const std::string folder = FullPath(options.folder);
    const std::string part = folder + "/" + kReportPartName;
    std::error_code unreachable;
    const bool isThere =
        options.input.shard ? std::filesystem::exists(part, unreachable) : !ExistingReportFile(folder).empty();
    if (!isThere) return wxString();
    return (options.input.shard ? "The part of the report '" + PathText(part) : "The report '" + PathText(folder)) +
           "' is kept as it was: " + end.FailedText() + ". --partial-table writes that of the others.";
}

bool WriteReport(ReportBuilder& builder, const ReportCommandOptions& options, const RunEnd& end,
                 const Streams& streams) {
    Progress progress(streams.messages, options.input.verbosity, 0);
    const std::string folder = FullPath(options.folder);
    std::optional<FolderLock> lock;
    if (!options.input.shard) lock.emplace(std::vector<std::string>{folder});
    const wxString kept = WhyKept(options, end);
    if (!kept.empty()) {
        progress.Error({kept});
        return false;
    }
    if (lock) return WriteWholeReport(builder, folder, *lock, progress);
    try {
        builder.WritePart();
        progress.Note("The part of the report is '" + PathText(folder + "/" + kReportPartName) +
                      "'; merge makes the report of all parts.");
        return true;
    } catch (const qvox::ToolkitError& error) {
        progress.Error(
            {"Cannot write the part of the report '" + PathText(folder) + "'! (" + PathText(error.what()) + ")"});
        return false;
    }
}

void AddThumbnails(CLI::App& command, std::size_t& thumbnails) {
    const auto take = [&thumbnails](const std::string& text) {
        const std::optional<std::size_t> number = ParseNumber<std::size_t>(text);
        if (!number) throw CLI::ValidationError("--thumbnails", "needs a whole number, not '" + text + "'");
        thumbnails = *number;
    };
    command
        .add_option_function<std::string>("--thumbnails", take,
                                          "Images shown on the page, at equal distances in the list (default: " +
                                              std::to_string(kUsualThumbnails) + ")")
        ->type_name("N");
}

/// Refuses what the report would be refused for, and prints what it would be made from.
int TryReport(const ReportCommandOptions& options, ImageRun run, const Streams& streams) {
    const ReportOptions report = OptionsFor(options, *run.listing);
    try {
        RequireFree(report);
        RequireFoldersCanBe({report.folder});
    } catch (const qvox::ToolkitError& error) {
        throw UsageError(error.what());
    }
    run.dryRun.word = "report on";
    run.dryRun.needed = &ImageFiles::seeds;
    run.dryRun.needs = DryRunNeeds::kPlaneOfKnownSize;
    for (const std::string& path : ReportFiles(report)) run.dryRun.writes.push_back(PathText(path));
    return RunImages(run, streams);
}

}  // namespace

void AddReportOptions(CLI::App& command, ReportCommandOptions& options) {
    AddInput(command, options.input);
    command.add_option("-o,--output", options.folder, "Folder for the report")->required()->type_name("DIR");
    AddPlace(command, "--labels", options.labels, "DIR", "Folder to read seg_NAME from (default: beside each image)");
    AddPlace(command, "--group-by", options.groupBy, "folder|FILE",
             "Compare the images' folders, or the groups of a table with the columns image and group");
    const auto takeWidth = [&options](const std::string& text) {
        options.binWidthNm = ParseNumber<double>(text);
        if (!options.binWidthNm || !(*options.binWidthNm > 0.0)) {
            throw CLI::ValidationError("--bin-nm", "needs a number above 0, not '" + text + "'");
        }
    };
    command
        .add_option_function<std::string>("--bin-nm", takeWidth,
                                          "Width of the histogram's bins (default: chosen by the sizes)")
        ->type_name("NM");
    AddThumbnails(command, options.thumbnails);
    AddSelectionOptions(command, options.selection,
                        {"--diameter,--by",
                         "The diameter of the report, and of the limits (default: diameter_nm); "
                         "objects that have none are not counted"});
    AddSwitch(
        command, "--overwrite", [&options] { options.existing = ExistingReport::kReplace; }, "Replace a report");
    AddPartialTable(command, options.partial, "Replace a report also when images failed (default: it is kept)");
    AddParametersFile(command, options.parameters, options.parametersFile,
                      "Warn of labels that were not made with the parameters of this file");
    AddPreparation(command, options.preparation);
    AddPixelSizeChoice(command, options.pixelSize);
    AddJobs(command, options.jobs);
    AddDryRun(command, options.jobs);
}

int RunReport(const ReportCommandOptions& options, const Streams& streams) {
    ImageRun run;
    run.input = options.input;
    run.listing = ExpandInputs(options.input, options.folder);
    run.places.labels = options.labels;
    run.pixelSize = options.pixelSize;
    run.jobs = options.jobs;
    if (options.jobs.dryRun) return TryReport(options, std::move(run), streams);
    const std::unique_ptr<ReportBuilder> builder = Begin(options, *run.listing);
    LabelRecords records;
    run.work = [&options, &builder, &records](ImageJob& job) {
        try {
            ReportImage(job, options, *builder, records);
        } catch (const ImageFailure& failure) {
            builder->LeaveOut(job.Number() - 1, failure.text.Lines());
            throw;
        } catch (const TimeLimitReached& limit) {
            builder->LeaveOut(job.Number() - 1, limit.what());
            throw;
        } catch (...) {
            builder->LeaveOut(job.Number() - 1, ExceptionText(std::current_exception(), job.Files().input));
            throw;
        }
    };
    const RunEnd end = WorkOnImages(run, streams);
    const int status = end.status;
    if (status == kExitSomeFailed && options.jobs.afterFailure == AfterFailure::kEnd) return status;
    // A part without an image says that none is missing.
    if (status == kExitInterrupted || !(builder->HasImages() || options.input.shard)) return status;
    const bool isWritten = WriteReport(*builder, options, end, streams);
    // An interrupt ends gnuplot too.
    if (Interrupted()) return kExitInterrupted;
    return isWritten ? status : kExitSomeFailed;
}

}  // namespace Korvane

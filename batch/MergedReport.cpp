#include "MergedReport.h"

#include <memory>
#include <utility>

#include "OptionGroups.h"
#include "PathText.h"
#include "ReportWriting.h"
#include "TablePart.h"
#include "ToolkitError.h"
#include "Version.h"

namespace Korvane {

namespace {

std::string Quoted(const std::string& text) { return "'" + text + "'"; }

/// A report that cannot be begun is a matter of what was asked for.
std::unique_ptr<ReportBuilder> Begin(ReportOptions options) {
    try {
        return std::make_unique<ReportBuilder>(std::move(options));
    } catch (const qvox::ToolkitError& error) {
        throw UsageError(error.what());
    }
}

}  // namespace

MergedReport::MergedReport(std::vector<std::string> folders, MergeProblems& problems) : folders_(std::move(folders)) {
    const auto none = static_cast<std::uint32_t>(folders_.size());
    for (std::uint32_t part = 0; part < none; ++part) {
        ReportPartReader reader(folders_[part]);
        if (part == 0) {
            head_ = reader.Head();
            keys_.resize(head_.images);
            partOf_.resize(head_.images, none);
        }
        const std::string difference = PartDifference(reader.Head(), head_);
        if (!difference.empty()) {
            throw qvox::ToolkitError(Quoted(folders_[part]) + " is of another report than " + Quoted(folders_[0]) +
                                     ": " + difference + ".");
        }
        ReportPartImage image;
        while (reader.Next(image)) {
            if (image.place >= partOf_.size()) throw qvox::ToolkitError(Quoted(folders_[part]) + " is damaged.");
            const std::uint32_t earlier = std::exchange(partOf_[image.place], part);
            if (earlier < none) {
                problems.Add("come twice", Quoted(image.image.path) + " is in " + Quoted(folders_[earlier]) +
                                               " and in " + Quoted(folders_[part]) + ".");
            }
            keys_[image.place] = ImageKey(image.image.path);
        }
    }
    if (head_.version == kVersion) return;
    throw qvox::ToolkitError("The parts are of version " + head_.version + ", this program is version " + kVersion +
                             ".");
}

void MergedReport::RequireAllImages(const std::optional<ImageListing>& listing, MergeProblems& problems) const {
    const bool isListed = listing && listing->images.size() == partOf_.size();
    if (listing && !isListed) {
        problems.Add("differ", "The report is of " + std::to_string(partOf_.size()) + " images, not of the " +
                                   std::to_string(listing->images.size()) + " given.");
    }
    for (std::size_t place = 0; place < partOf_.size(); ++place) {
        const std::string wanted = isListed ? PathText(listing->images[place]).utf8_string() : std::string();
        if (partOf_[place] == folders_.size()) {
            const std::string name = isListed ? Quoted(wanted) : "Image " + std::to_string(place + 1);
            problems.Add("are missing", name + " is missing.");
        } else if (isListed && keys_[place] != ImageKey(wanted)) {
            problems.Add("differ", "Another image stands in " + Quoted(folders_[partOf_[place]]) + " where " +
                                       Quoted(wanted) + " is to be.");
        }
    }
}

bool MergedReport::Write(const std::string& folder, const FolderLock& lock, ExistingReport existing,
                         Progress& progress) const {
    ReportOptions report;
    report.folder = FullPath(folder);
    // All images come from the parts, with their paths.
    report.images = {partOf_.size(), [](std::size_t) { return wxString(); }};
    report.groups = head_.groups;
    if (!report.groups.empty()) report.groupOfImage.resize(partOf_.size(), 0);
    report.selection = head_.selection;
    report.thumbnails = head_.thumbnails;
    if (head_.binWidth > 0.0) report.binWidthNm = head_.binWidth;
    report.existing = existing;
    const std::unique_ptr<ReportBuilder> builder = Begin(std::move(report));
    for (const std::string& part : folders_) {
        ReportPartReader reader(part);
        ReportPartImage image;
        while (reader.Next(image)) builder->AddKnown(image.place, image);
    }
    if (!builder->HasImages()) throw qvox::ToolkitError("None of the parts has an image to report on.");
    return WriteWholeReport(*builder, FullPath(folder), lock, progress);
}

}  // namespace Korvane

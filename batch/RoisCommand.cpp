#include "RoisCommand.h"

#include <CLI/CLI.hpp>
#include <map>
#include <utility>
#include <vector>

#include "EdgeProfiles.h"
#include "ImageRun.h"

namespace Korvane {

namespace {

std::string NameOf(const LabelExtent& extent) { return std::to_string(extent.label); }

std::vector<ImageRegion> LabelRegions(const Position& position) {
    std::vector<ImageRegion> regions;
    for (const LabelExtent& extent : LabelExtents(position.labels)) {
        regions.push_back({NameOf(extent), OutlinesOf(position.labels, extent)});
    }
    return regions;
}

/// Of the objects whose edge was found.
std::vector<ImageRegion> CurveRegions(const Position& position, ClosedCurve EdgeMeasurement::*curve,
                                      const EdgeProfileOptions& profiles) {
    const std::vector<LabelExtent> extents = LabelExtents(position.labels);
    std::vector<EdgeMeasurement> edges = MeasureEdges(position.image, position.labels, extents, profiles);
    std::vector<ImageRegion> regions;
    for (std::size_t i = 0; i < extents.size(); ++i) {
        ClosedCurve& line = edges[i].*curve;
        if (!line.empty()) regions.push_back({NameOf(extents[i]), {{std::move(line), {}}}});
    }
    return regions;
}

std::vector<ImageRegion> RegionsOf(const Position& position, RegionOutline outline,
                                   const EdgeProfileOptions& profiles) {
    switch (outline) {
        case RegionOutline::kEdge:
            return CurveRegions(position, &EdgeMeasurement::edgeCurve, profiles);
        case RegionOutline::kRim:
            return CurveRegions(position, &EdgeMeasurement::rimCurve, profiles);
        case RegionOutline::kLabel:
            break;
    }
    return LabelRegions(position);
}

wxString ImageFiles::*FileOf(RegionFormat format) {
    return format == RegionFormat::kImageJ ? &ImageFiles::imageJRegions : &ImageFiles::geoJsonRegions;
}

void WriteRegionsOf(ImageJob& job, const RoisOptions& options) {
    Position position = job.Load();
    if (job.ReadLabels(job.Files().seeds, position.labels) == LabelsFound::kNoFile) {
        job.Outcome().state = ImageState::kNoLabels;
        job.TellNoLabels();
        return;
    }
    if (options.outline != RegionOutline::kLabel) RestrictMeasures(job, options.preparation, position);
    const std::vector<ImageRegion> regions = DoFileTask(
        FileTask::kMeasure, job.Name(), [&] { return RegionsOf(position, options.outline, job.Profiles()); });
    job.TimeLeft().Check();
    const std::size_t missing = job.Outcome().objectCount - regions.size();
    if (missing > 0) {
        job.Warn(wxString::Format("has %zu %s whose edge was not found: %s left out.", missing,
                                  missing == 1 ? "object" : "objects", missing == 1 ? "it is" : "they are"));
    }
    DoFileTask(FileTask::kExportPicture, job.Name(), [&] {
        WriteRegions(job.Files().*FileOf(options.format), regions, options.format);
        return 0;
    });
    job.Outcome().state = ImageState::kDone;
}

}  // namespace

void AddRoisOptions(CLI::App& command, RoisOptions& options) {
    const std::map<std::string, RegionFormat> formats{{"imagej", RegionFormat::kImageJ},
                                                      {"geojson", RegionFormat::kGeoJson}};
    const std::map<std::string, RegionOutline> outlines{
        {"label", RegionOutline::kLabel}, {"edge", RegionOutline::kEdge}, {"rim", RegionOutline::kRim}};
    AddInput(command, options.input);
    AddOutput(command, options.places);
    AddLabels(command, options.places);
    command.add_option("--format", options.format, "imagej: rois_NAME.zip (default); geojson: rois_NAME.geojson")
        ->transform(CLI::Transformer(formats))
        ->type_name("FORMAT");
    command.add_option("--outline", options.outline, "The line that is written: label (default), edge or rim")
        ->transform(CLI::Transformer(outlines))
        ->type_name("LINE");
    AddPreparation(command, options.preparation);
    AddPixelSizeChoice(command, options.pixelSize);
    AddJobs(command, options.jobs);
    AddDryRun(command, options.jobs);
}

int RunRois(const RoisOptions& options, const Streams& streams) {
    ImageRun run;
    run.input = options.input;
    run.places = options.places;
    run.written = {FileOf(options.format)};
    run.pixelSize = options.pixelSize;
    run.jobs = options.jobs;
    run.dryRun.word = "write";
    run.dryRun.needed = &ImageFiles::seeds;
    run.work = [&options](ImageJob& job) { WriteRegionsOf(job, options); };
    return RunImages(run, streams);
}

}  // namespace Korvane

#include "SizeSummary.h"

#include <algorithm>
#include <utility>

#include "SizeBins.h"

namespace Korvane {

namespace {

void Add(SizeSummary& summary, const ReportedImage& image) {
    ++summary.images;
    summary.objects += image.objects;
    summary.atEdge += image.atEdge;
    summary.areaUm2 += image.areaUm2;
    for (const auto& [reason, count] : image.leftOut) summary.leftOut[reason] += count;
    for (const ReportedObject& object : image.counted) summary.sizes.push_back(object.diameterNm);
}

SizeSummary Named(const char* scope, const std::string& name, const std::string& group) {
    SizeSummary summary;
    summary.scope = scope;
    summary.name = name;
    summary.group = group;
    return summary;
}

void Finish(SizeSummary& summary, double binWidth) {
    // In ascending order sums do not depend on the order of the images.
    std::sort(summary.sizes.begin(), summary.sizes.end());
    summary.statistics = StatisticsOf(summary.sizes, binWidth);
}

std::size_t PerPlace(std::size_t number, std::size_t places) {
    return std::max<std::size_t>(1, (number + places - 1) / places);
}

/// The runs of images, filled one after the other.
class Runs {
public:
    explicit Runs(ReportNumbers& numbers) : numbers_(numbers) {
        numbers.imagesPerRun = PerPlace(numbers.all.images, ReportNumbers::kMostRuns);
        numbers.ofRuns.clear();
    }
    void Add(const SizeSummary& image) {
        std::vector<SizeSummary>& runs = numbers_.ofRuns;
        if (runs.empty() || runs.back().images == numbers_.imagesPerRun) {
            runs.push_back(Named("image", image.name, image.group));
            first_ = image.name;
        } else {
            runs.back().name = first_ + " to " + image.name;
        }
        SizeSummary& run = runs.back();
        ++run.images;
        const auto middle = run.sizes.insert(run.sizes.end(), image.sizes.begin(), image.sizes.end());
        std::inplace_merge(run.sizes.begin(), middle, run.sizes.end());
    }

private:
    ReportNumbers& numbers_;
    std::string first_;
};

}  // namespace

void SummariseAll(ReportNumbers& numbers, const EachImage& eachImage) {
    numbers.ofGroups.clear();
    numbers.quality = {};
    numbers.all = Named("all", "", "");
    for (const std::string& group : numbers.groups) numbers.ofGroups.push_back(Named("group", group, group));
    eachImage([&numbers](const ReportedImage& image) {
        numbers.quality.Add(image);
        if (!image.leftOutBecause.empty()) return;
        if (!numbers.groups.empty()) Add(numbers.ofGroups[image.group], image);
        Add(numbers.all, image);
    });
    std::sort(numbers.all.sizes.begin(), numbers.all.sizes.end());
    if (numbers.binWidth <= 0.0) numbers.binWidth = UsualBinWidth(numbers.all.sizes);
    Finish(numbers.all, numbers.binWidth);
    for (SizeSummary& summary : numbers.ofGroups) Finish(summary, numbers.binWidth);
}

void SummariseImages(ReportNumbers& numbers, const EachImage& eachImage,
                     const std::function<void(const SizeSummary& image)>& take) {
    numbers.ofImages.clear();
    numbers.shapes.clear();
    numbers.objectsPerShape = PerPlace(numbers.all.sizes.size(), ReportNumbers::kMostPoints);
    Runs runs(numbers);
    std::size_t objects = 0;
    eachImage([&](const ReportedImage& image) {
        if (!image.leftOutBecause.empty()) return;
        SizeSummary summary = Named("image", image.path, numbers.groups.empty() ? "" : numbers.groups[image.group]);
        Add(summary, image);
        Finish(summary, numbers.binWidth);
        take(summary);
        runs.Add(summary);
        for (const ReportedObject& object : image.counted) {
            if (objects++ % numbers.objectsPerShape == 0) numbers.shapes.push_back({image.group, object});
        }
        if (numbers.ofImages.size() < ReportNumbers::kMostRows) numbers.ofImages.push_back(std::move(summary));
    });
}

std::string ReasonsText(const std::map<std::string, std::size_t>& reasons) {
    std::string text;
    for (const auto& [reason, count] : reasons) {
        text += (text.empty() ? "" : "; ") + reason + ": " + std::to_string(count);
    }
    return text;
}

}  // namespace Korvane

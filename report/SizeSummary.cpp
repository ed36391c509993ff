#include "SizeSummary.h"

#include <algorithm>

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

}  // namespace

void Summarise(ReportNumbers& numbers) {
    numbers.ofImages.clear();
    numbers.ofGroups.clear();
    numbers.all = Named("all", "", "");
    for (const std::string& group : numbers.groups) numbers.ofGroups.push_back(Named("group", group, group));
    for (const ReportedImage& image : numbers.images) {
        if (!image.leftOutBecause.empty()) continue;
        numbers.ofImages.push_back(
            Named("image", image.path, numbers.groups.empty() ? "" : numbers.groups[image.group]));
        Add(numbers.ofImages.back(), image);
        if (!numbers.groups.empty()) Add(numbers.ofGroups[image.group], image);
        Add(numbers.all, image);
    }
    // In ascending order sums do not depend on the order of the images.
    std::sort(numbers.all.sizes.begin(), numbers.all.sizes.end());
    if (numbers.binWidth <= 0.0) numbers.binWidth = UsualBinWidth(numbers.all.sizes);
    const auto finish = [&numbers](SizeSummary& summary) {
        std::sort(summary.sizes.begin(), summary.sizes.end());
        summary.statistics = StatisticsOf(summary.sizes, numbers.binWidth);
    };
    finish(numbers.all);
    for (SizeSummary& summary : numbers.ofGroups) finish(summary);
    for (SizeSummary& summary : numbers.ofImages) finish(summary);
}

std::string ReasonsText(const std::map<std::string, std::size_t>& reasons) {
    std::string text;
    for (const auto& [reason, count] : reasons) {
        text += (text.empty() ? "" : "; ") + reason + ": " + std::to_string(count);
    }
    return text;
}

}  // namespace Korvane

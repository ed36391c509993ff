#include "QualityFacts.h"

namespace Korvane {

namespace {

std::string OriginText(const LabelOrigin& origin) {
    if (origin.command.empty()) return "no record: drawn or changed by hand, or made elsewhere";
    return origin.command + ", " + origin.program + (origin.parameters.empty() ? "" : ": " + origin.parameters);
}

std::string OutlinedText(const LabelOrigin& origin) {
    const std::string made = origin.command.empty() ? "how is not recorded: fill it in" : OriginText(origin);
    return made + (origin.prepared.empty() ? "" : "; " + origin.prepared);
}

}  // namespace

void TextTally::Add(const std::string& text) {
    const auto known = counts_.find(text);
    if (known != counts_.end()) {
        ++known->second;
    } else if (order_.size() < kMostTexts) {
        counts_[text] = 1;
        order_.push_back(text);
    } else {
        ++others_;
    }
}

void NamedImages::Add(const std::string& path, const std::string& text) {
    if (++count <= kMost) first.push_back({path, text});
}

void QualityFacts::Add(const ReportedImage& image) {
    for (const std::string& warning : image.warnings) warnings.Add(image.path, warning);
    if (!image.leftOutBecause.empty()) return leftOut.Add(image.path, image.leftOutBecause);
    pixelSizes.Add(image.pixelSize);
    sizeSources.Add(image.pixelSize + " (" + image.pixelSizeSource + ")");
    origins.Add(OriginText(image.origin));
    outlined.Add(OutlinedText(image.origin));
    prepared.Add(image.origin.prepared.empty() ? "nothing" : image.origin.prepared);
}

}  // namespace Korvane

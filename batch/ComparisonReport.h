#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Figure.h"
#include "LabelComparison.h"
#include "StageAttribution.h"

namespace Korvane {

/// One image of a comparison.
struct ComparedImage {
    std::string path;  ///< UTF-8
    LabelComparison comparison;
    std::optional<StageAttribution> stages;  ///< none: not known
    std::string whyNoStages;                 ///< then
};

/// A comparison of images, in their order.
struct ComparisonReport {
    std::vector<ComparedImage> images;
    double threshold = kDefaultMatchThreshold;
};

/// Tables for a person: scores of each image and of all together, objects at the edge, agreement of the diameters, and
/// how many mistakes each stage made.
std::string ComparisonText(const ComparisonReport& report);

/// Scores with a row per image and one, "all", of all together. Numbers that are not defined are empty.
std::string ComparisonCsv(const ComparisonReport& report);

/// A row per object: matched, missed or false, its labels, its overlap, whether it is at the edge, its diameters and
/// the stage at fault.
std::string ComparedObjectsCsv(const ComparisonReport& report);

/// All of it as one JSON document.
std::string ComparisonJson(const ComparisonReport& report);

/// The differences of the matched objects' diameters over their means, with the bias and the limits of agreement.
Figure AgreementFigure(const ComparisonReport& report);

}  // namespace Korvane

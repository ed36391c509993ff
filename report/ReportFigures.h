#pragma once

#include <string>
#include <vector>

#include "Figure.h"
#include "SizeSummary.h"

namespace Korvane {

/// A figure of the report with what stands below it on the page.
struct ReportFigure {
    Figure figure;
    std::string title;
    std::string caption;
};

/// Names of the files of all figures that a report may have.
const std::vector<std::string>& ReportFigureNames();

/// The figures that the counted objects allow: none without objects, no fit without a fit. Groups have lines and points
/// of their own as long as there are at most eight.
std::vector<ReportFigure> ReportFigures(const ReportNumbers& numbers);

}  // namespace Korvane

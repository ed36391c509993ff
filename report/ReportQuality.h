#pragma once

#include <string>

#include "SizeSummary.h"

namespace Korvane {

/// The section of the page that tells how far the numbers can be believed: pixel sizes and where they come from, images
/// that were left out, how the labels were made, objects at the edge, warnings.
std::string QualitySection(const ReportNumbers& numbers);

/// Two sentences for the methods section of a paper, plain text.
std::string MethodsText(const ReportNumbers& numbers);

/// An element of a table's row.
std::string HtmlCell(const std::string& text);
std::string HtmlHeading(const std::string& text);

}  // namespace Korvane

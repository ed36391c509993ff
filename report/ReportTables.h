#pragma once

#include <string>

#include "SizeSummary.h"

namespace Korvane {

/// The beginning of summary.csv: names of columns, a line for all images together and for each group. Columns:
/// docs/MEASUREMENTS.md, "Statistics of the report".
std::string SummaryHead(const ReportNumbers& numbers);

/// A line of summary.csv, for an image.
std::string SummaryLine(const SizeSummary& summary);

/// bins.csv: the bins of the histogram, of all images together and of each group, with the counts of the fits.
std::string BinTable(const ReportNumbers& numbers);

}  // namespace Korvane

#pragma once

#include <string>

#include "SizeSummary.h"

namespace Korvane {

/// summary.csv: a line for all images together, for each group and for each image. Columns: docs/MEASUREMENTS.md,
/// "Statistics of the report".
std::string SummaryTable(const ReportNumbers& numbers);

/// bins.csv: the bins of the histogram, of all images together and of each group, with the counts of the fits.
std::string BinTable(const ReportNumbers& numbers);

}  // namespace Korvane

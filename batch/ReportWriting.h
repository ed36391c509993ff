#pragma once

#include <string>

#include "Progress.h"
#include "ReportBuilder.h"

namespace Korvane {

/// Writes the figures, tables and page of a report and says so. False when that failed or was interrupted.
bool WriteWholeReport(ReportBuilder& builder, const std::string& folder, Progress& progress);

}  // namespace Korvane

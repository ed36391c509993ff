#pragma once

#include <string>

#include "FolderLock.h"
#include "Progress.h"
#include "ReportBuilder.h"

namespace Korvane {

/// Writes the figures, tables and page of a report under the lock of its folder and says so. False when that failed or
/// was interrupted.
bool WriteWholeReport(ReportBuilder& builder, const std::string& folder, const FolderLock& lock, Progress& progress);

}  // namespace Korvane

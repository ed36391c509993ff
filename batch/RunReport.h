#pragma once

#include <string>
#include <vector>

#include "AnalysisParameters.h"
#include "ImageJob.h"
#include "InputList.h"

namespace Korvane {

/// Which analysis a run did.
struct RunRecord {
    std::string command;
    AnalysisParameters parameters;
};

/// What a run did, for korvane-run.json.
struct RunReport {
    RunRecord record;
    std::string started;  ///< date and time, UTC, ISO 8601
    bool interrupted = false;
    std::vector<ImageFiles> images;
    std::vector<ImageOutcome> outcomes;
};

/// The present time as RunReport::started has it.
std::string TimeText();

/// The report's text for the images whose labels go into `folder`. UTF-8, the same in every locale.
std::string ReportText(const RunReport& report, const wxString& folder);

/// Writes korvane-run.json into every folder that this run wrote labels into or failed to; a folder in which all
/// images were skipped keeps the report of the run that made them. Each file is complete or absent. Returns the texts
/// of failures.
std::vector<wxString> WriteReports(const RunReport& report);

}  // namespace Korvane

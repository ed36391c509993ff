#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "CommandTable.h"
#include "ObjectSelection.h"
#include "OptionGroups.h"
#include "Preparation.h"
#include "ReportBuilder.h"
#include "TableOptions.h"

namespace Korvane {

struct ReportCommandOptions {
    InputOptions input;
    std::string folder;
    std::optional<std::string> labels;
    std::optional<std::string> groupBy;  ///< "folder", or the path of a table
    ObjectSelection selection;
    std::optional<double> binWidthNm;
    std::size_t thumbnails = kUsualThumbnails;
    ExistingReport existing = ExistingReport::kRefuse;
    PartialTable partial = PartialTable::kKeepOld;  ///< when images failed
    AnalysisParameters parameters;            ///< of the file below
    std::optional<UsedFile> parametersFile;  ///< with the parameters that the labels should have been made with
    PreparationOptions preparation;  ///< that the labels were made with: its pixels are not measured
    GivenPixelSize pixelSize;
    JobOptions jobs;
};

void AddReportOptions(CLI::App& command, ReportCommandOptions& options);

/// Measures the labels of each image and makes a report of all.
int RunReport(const ReportCommandOptions& options, const Streams& streams);

}  // namespace Korvane

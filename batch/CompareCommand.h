#pragma once

#include <optional>
#include <string>

#include "AnalysisParameters.h"
#include "CommandTable.h"
#include "ComparisonFiles.h"
#include "FileDigest.h"
#include "ObjectMatching.h"
#include "OptionGroups.h"

namespace Korvane {

struct CompareOptions {
    InputOptions input;
    Places places;
    std::string truth;  ///< folder of the true labels
    double threshold = kDefaultMatchThreshold;
    bool overlay = false;  ///< write compare_NAME
    bool stages = true;    ///< run detection to find the stages at fault
    ComparisonPlaces results;
    AnalysisParameters parameters;  ///< of the labels whose record does not tell
    std::optional<UsedFile> parametersFile;
    GivenPixelSize pixelSize;
    JobOptions jobs;
};

void AddCompareOptions(CLI::App& command, CompareOptions& options);

/// Compares the labels of each image with its true ones.
int RunCompare(const CompareOptions& options, const Streams& streams);

}  // namespace Korvane

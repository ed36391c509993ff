#pragma once

#include <functional>
#include <optional>

#include "AnalysisParameters.h"
#include "CommandTable.h"
#include "DetectionObserver.h"
#include "DryRun.h"
#include "ExistingResults.h"
#include "ImageJob.h"
#include "ImageWarnings.h"
#include "ObjectTable.h"
#include "OptionGroups.h"
#include "Preparation.h"
#include "TableOptions.h"
#include "operations/PartRunner.h"

namespace Korvane {

/// Options of a command that makes labels.
struct LabellingOptions {
    InputOptions input;
    Places places;
    TableRules tableRules;
    ObjectTable objectTable;
    OverlayStyle style;
    ExistingLabels existing = ExistingLabels::kSkip;
    RecordCheck recordCheck = RecordCheck::kWarn;
    bool overlay = false;  ///< write the overlay too
    AnalysisParameters parameters;
    std::optional<UsedFile> parametersFile;  ///< that some of them were read from
    PreparationOptions preparation;
    GivenPixelSize pixelSize;
    JobOptions jobs;
};

/// --overwrite, --overlay, --strict, --parameters, the analysis parameters and the preparation.
void AddLabellingOptions(CLI::App& command, LabellingOptions& options);

/// The differences between the commands that make labels.
struct LabelMaker {
    const char* command;  ///< for the record of the run
    const char* verb;     ///< "Cannot VERB 'NAME'!"
    RunCost cost;
    wxString ImageFiles::*startsFrom = nullptr;  ///< the file that `prepare` reads, if any
    /// Puts what the analysis starts from into the labels; empty: it starts from the image alone. False when it is
    /// missing: the image is left out.
    std::function<bool(ImageJob& job, Position& position)> prepare = {};
    /// Warns of what is analysed, the image or a part of it; empty: there is nothing to warn of.
    std::function<void(ImageJob& job, const Position& analysed, Extent extent)> warn = {};
    /// Fills the labels; the observer is notified where the analysis has one. `run` runs its parts.
    std::function<void(Position& position, DetectionObserver& observer, const qvox::PartRunner& run)> analyse;
};

/// Makes, stores and where asked for measures and paints the labels of each image.
int RunLabelling(const LabellingOptions& options, const LabelMaker& maker, const Streams& streams);

}  // namespace Korvane

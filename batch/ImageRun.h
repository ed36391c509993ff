#pragma once

#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "CommandTable.h"
#include "DryRun.h"
#include "FilePlan.h"
#include "ImageJob.h"
#include "ImageList.h"
#include "ObjectTable.h"
#include "OptionGroups.h"
#include "RunEnd.h"
#include "RunRecorder.h"
#include "TableOptions.h"

namespace Korvane {

enum class WithoutTable { kNoTable, kStandardOutput };

/// "12 objects, 1.5 s".
wxString ObjectsText(const ImageOutcome& outcome);

/// A run of one command over images, one job each.
struct ImageRun {
    InputOptions input;
    std::optional<ImageListing> listing;  ///< the images of `input`, where they are known
    Places places;
    WrittenFiles written;                                ///< by the jobs
    WithoutTable withoutTable = WithoutTable::kNoTable;  ///< where measurements go when no table file is named
    GivenPixelSize pixelSize;                            ///< beside the files'
    TableRules tableRules;
    ObjectTable objectTable;  ///< that places.csv gets
    JobOptions jobs;
    DryRunRules dryRun;
    std::shared_ptr<RunRecorder> recorder;  ///< of the folders of labels
    std::function<void(ImageJob& job)> work;
    std::function<wxString(const ImageOutcome& outcome)> doneText = ObjectsText;  ///< of an image that is done

    bool MakesTable() const { return places.table || withoutTable == WithoutTable::kStandardOutput; }
};

/// Does the run and returns the program's exit status. Throws UsageError before any work when it cannot be done as
/// asked.
int RunImages(const ImageRun& run, const Streams& streams);
/// The same, for who writes more for all images together. Of a dry run only the status is known.
RunEnd WorkOnImages(const ImageRun& run, const Streams& streams);

/// Writes whole lines; a terminal gets the control characters of names written out. False when not all bytes were
/// taken; errno tells why.
bool WriteOut(std::FILE* stream, const std::string& text);

/// The same for a piece of a JSON document, which stays one on a terminal.
bool WriteJson(std::FILE* stream, const std::string& text);

}  // namespace Korvane

#pragma once

#include <string>

namespace Korvane {

class FilePlan;
struct ImageRun;

/// Whether korvane-run.json is written too.
enum class RecordFiles { kLines, kLinesAndDocument };

/// Throws UsageError where the record of a folder is there and cannot be written, as it is a folder itself or
/// read-only. One that is not there can be made wherever labels can.
void RequireRecordCanBe(const std::string& folder, RecordFiles files);

/// The same for the folders of labels that a run makes: found before the work, as labels without a record tell nobody
/// how they were made. A folder whose images are all skipped gets no record. Costs a look at each folder's record, and
/// at labels only where it cannot be written.
void RequireRecordsCanBe(const ImageRun& run, const FilePlan& plan);

}  // namespace Korvane

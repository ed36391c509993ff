#pragma once

#include "ImageJob.h"

namespace Korvane {

/// The consequence of a record that differs from the request, for an image whose labels are kept.
enum class RecordCheck { kWarn, kStrict };

/// Compares how the labels that are there were made with what the run would do now: command, parameters, pixel size,
/// and whether image and labels are still those of the record. Reports a difference in a warning; with kStrict throws
/// ImageFailure, also for labels of which nothing is recorded.
void CompareWithRecord(ImageJob& job, RecordCheck check);

}  // namespace Korvane

#pragma once

#include "ImageJob.h"

namespace Korvane {

/// Compares how the labels that are there were made with what the run would do now: command, page, parameters,
/// preparation, pixel size, and whether image, labels, annotations and the file that they would be made from (`start`)
/// are still those of the record. Reports a difference in a warning; with kStrict throws ImageFailure, also for labels
/// of which nothing is recorded. Says once of a folder that lines of its record cannot be read.
void CompareWithRecord(ImageJob& job, RecordCheck check, const LabelStart& start);

}  // namespace Korvane

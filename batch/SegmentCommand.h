#pragma once

#include "Labelling.h"

namespace Korvane {

struct SegmentOptions : LabellingOptions {};

void AddSegmentOptions(CLI::App& command, SegmentOptions& options);

/// Grows the labels that each image has already.
int RunSegment(const SegmentOptions& options, const Streams& streams);

}  // namespace Korvane

#pragma once

#include "Labelling.h"

namespace Korvane {

struct DetectOptions : LabellingOptions {};

void AddDetectOptions(CLI::App& command, DetectOptions& options);

/// Detects the exosomes of each image.
int RunDetect(const DetectOptions& options, const Streams& streams);

}  // namespace Korvane

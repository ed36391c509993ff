#pragma once

#include <wx/string.h>

#include "CommandTable.h"
#include "FilePlan.h"

namespace Korvane {

struct ImageRun;

/// Measured on the sample images and real ones; an estimate for a person, right to about a factor of three.
struct RunCost {
    double nsPerPixel = 60.0;     ///< of one thread
    double bytesPerPixel = 12.0;  ///< at the peak
};

/// What a run does with an image, as far as it can be told without doing it.
struct DryRunRules {
    const char* word = "work on";            ///< "measure"
    wxString ImageFiles::*kept = nullptr;    ///< an image that has this file is skipped
    wxString ImageFiles::*needed = nullptr;  ///< an image that lacks this file is left out
    bool isAnalysis = false;                 ///< refuses stacks and images without a pixel size
    bool takesAnyType = false;               ///< also colours
    RunCost cost;
};

/// Prints a line per image with what the run would do, and an estimate of time and memory. Nothing is written. Returns
/// the exit status that the run would have, as far as it is known.
int PrintDryRun(const ImageRun& run, const FilePlan& plan, const Streams& streams);

}  // namespace Korvane

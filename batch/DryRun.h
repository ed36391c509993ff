#pragma once

#include <functional>
#include <limits>
#include <vector>

#include <wx/string.h>

#include "CommandTable.h"
#include "FilePlan.h"

namespace Korvane {

struct ImageRun;

/// Measured on the sample images and real ones; an estimate for a person, right to about a factor of three.
struct RunCost {
    double nsPerPixel = 60.0;     ///< of one thread
    double bytesPerPixel = 12.0;  ///< at the peak
    enum class Holds { kImagesAtWork, kAllImages } holds = Holds::kImagesAtWork;
    double mostSeconds = std::numeric_limits<double>::infinity();  ///< that the run takes in any case
};

/// Images that a run refuses.
enum class DryRunNeeds {
    kAnyImage,
    kPlane,             ///< stacks
    kPlaneOfKnownSize,  ///< and images without a pixel size
    kAnalysis,          ///< and those whose pixels are far from square
};

/// What a run does with an image, as far as it can be told without doing it.
struct DryRunRules {
    const char* word = "work on";            ///< "measure"
    wxString ImageFiles::*kept = nullptr;    ///< an image that has this file is skipped
    wxString ImageFiles::*needed = nullptr;  ///< an image that lacks this file is left out
    /// Why an image is left out for want of another file; empty where it is not.
    std::function<wxString(const ImageFiles& files)> lacks;
    DryRunNeeds needs = DryRunNeeds::kAnyImage;
    bool takesAnyType = false;     ///< also colours
    std::vector<wxString> writes;  ///< for all images together
    RunCost cost;
};

/// Prints a line per image with what the run would do, and an estimate of time and memory. Nothing is written. Returns
/// the exit status that the run would have, as far as it is known.
int PrintDryRun(const ImageRun& run, const FilePlan& plan, const Streams& streams);

}  // namespace Korvane

#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <wx/string.h>

#include "InputList.h"
#include "Options.h"
#include "PixelResolution.h"
#include "Progress.h"

namespace Korvane {

/// How the work on one image ended.
enum class ImageState {
    kNotStarted,  ///< the run was interrupted before
    kDone,
    kSkipped,   ///< its labels exist already and were not to be replaced
    kNoLabels,  ///< there were no labels to work on
    kFailed,
    kAbandoned,  ///< the run was interrupted meanwhile
};

/// What is kept of an image when its voxels are released.
struct ImageOutcome {
    ImageState state = ImageState::kNotStarted;
    qvox::PixelResolution resolution;  ///< the one used, pixels per micrometre
    wxString resolutionSource;
    std::size_t objectCount = 0;
    double seconds = 0.0;
    wxString error;              ///< set when state is kFailed
    std::vector<wxString> rows;  ///< of the measurement table, when one is made
};

/// Does a run's work on one image and tells what happens; `number` is its place in the run, from 1. Never throws:
/// a failure becomes the outcome's error. Only the files of this image are written, each complete or absent.
ImageOutcome ProcessImage(const BatchOptions& options, const ImageFiles& files, std::size_t number, Progress& progress);

}  // namespace Korvane

#pragma once

#include <wx/string.h>

#include "VoxelImage.h"

namespace Korvane {

/// One input image with its result.
struct Position {
    qvox::VoxelImage<float> image;  ///< intensities as the file has them, not rescaled
    qvox::LabelImage labels;        ///< sizes, resolution, offset and description of `image`; 0 = background
    wxString path;                  ///< full path of the input file, as it was given
};

}  // namespace Korvane

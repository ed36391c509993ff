#pragma once

#include <wx/string.h>

#include "VoxelImage.h"

namespace Korvane {

/// Replaces the voxels of `labels` by the numbers that a label image of another program stores: 8, 16 or 32-bit
/// integers or whole-number floats of one page, as they are, without regard to a palette or white-is-zero. Resolution,
/// offset and description stay. Throws InconsistentImageSize for other sizes than those of `labels`; ToolkitError for
/// an unreadable file, other kinds of numbers, and numbers that are not whole, negative or above 65535, then with how
/// many labels there are; std::bad_alloc. `labels` is then unchanged.
void LoadForeignLabels(const wxString& path, qvox::LabelImage& labels);

}  // namespace Korvane

#pragma once

#include <string>

#include <wx/string.h>

#include "PixelResolution.h"
#include "files/ImageFile.h"

namespace Korvane {

/// "1.488 nm per pixel", "1.5 x 2.5 nm per pixel" or "pixel size undefined". Six digits tell pixel sizes apart as far
/// as files store them.
wxString PixelSizeText(const qvox::PixelResolution& resolution);

/// True when both axes have this many pixels per micrometre, to 1e-6 of it.
bool HasPixelSize(const qvox::PixelResolution& resolution, float pixelsPerUm);

/// Writes what LoadImageFile reads of `from` to `to`, with the same voxel type, planes, voxels, offset and description
/// and with this many pixels per micrometre in x and y. `type` is what the probe says of `from`. Throws
/// UnsupportedPixelType for other types than 8-bit, 16-bit and float grey, ToolkitError, std::bad_alloc; `to` is then
/// as it was.
void WriteCalibratedCopy(const std::string& from, const std::string& to, qvox::VoxelType type, float pixelsPerUm);

}  // namespace Korvane
